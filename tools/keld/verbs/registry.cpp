// registry: registered item ids, of one store or of several.

#include <CLI/CLI.hpp>
#include <filesystem>
#include <memory>

#include "platform/mv_reg.h"
#include "tools/keld/host/context.h"
#include "tools/keld/host/platform_text.h"
#include "tools/keld/host/run.h"
#include "tools/keld/host/system.h"
#include "workbench/names.h"

namespace keld {

namespace {

namespace fs = std::filesystem;

int showRegistry(Context& context) {
    context.open();
    mervane::Workbench& workbench = context.workbench();
    const std::string path = workbench.registryPath();
    const bool reachable = workbench.registryReachable();
    context.document = {{"registry", path.empty() ? Json() : Json(path)}, {"reachable", reachable}};
    std::string text = (path.empty() ? "the store's own registry" : shown(path)) +
                       (reachable ? "\n" : ", out of reach\n");
    Json ids = Json::array();
    try {
        for (const std::string& id : workbench.registeredIds()) {
            ids.push_back(id);
            text += mervane::quotedName(id) + "\n";
        }
    } catch (const mervane::Failure& failure) {
        text += shown(failure.what()) + "\n";
    }
    context.document["ids"] = ids;
    context.print(text);
    return kExitDone;
}

// False: the registry exists already; another process may just have made it.
bool madeRegistry(Context& context, const std::string& path) {
    std::error_code ignored;
    if (fs::exists(pathOf(path), ignored))
        return false;
    try {
        context.workbench().createRegistry(path);
        return true;
    } catch (const mervane::Failure&) {
        if (fs::exists(pathOf(path), ignored))
            return false;
        throw;
    }
}

int use(Context& context, const std::string& path) {
    context.open();
    context.workbench().needAdministrator("choose the registry");
    const bool fresh = !path.empty() && madeRegistry(context, path);
    context.workbench().useRegistry(path);
    const std::string used = context.workbench().registryPath();
    context.document = {{"registry", used.empty() ? Json() : Json(used)}, {"made", fresh}};
    context.print(used.empty() ? "the store uses its own registry\n"
                               : "the store uses the registry " + shown(used) +
                                     (fresh ? ", which is new\n" : "\n"));
    return kExitDone;
}

int enter(Context& context, const std::string& typed, bool in) {
    const std::string id = newId("the id", typed);
    context.open();
    context.workbench().needAdministrator("change the registry by hand");
    changeAll(context, {}, in ? "registry add" : "registry remove", id, [&] {
        if (in)
            require(context, REG_register_item_id(id.c_str(), 0), "REG_register_item_id");
        else
            require(context, REG_unregister_item_id(id.c_str(), 0), "REG_unregister_item_id");
    });
    context.document = {{"id", id}, {"registered", in}};
    context.print((in ? "registered " : "took out ") + mervane::quotedName(id) + "\n");
    return kExitDone;
}

int reach(Context& context, bool reachable) {
    context.open();
    context.workbench().setRegistryReachable(reachable);
    context.document = {{"reachable", reachable}};
    context.print(reachable ? "the registry can be reached\n" : "the registry is out of reach\n");
    return kExitDone;
}

}  // namespace

void addRegistryVerbs(Verbs& verbs) {
    CLI::App* group =
        verbs.addGroup("registry", "Show and choose the registry of item ids",
                       "  keld registry                    # where it is, and its ids\n"
                       "  keld registry use /plant/ids.db  # one that several stores share\n",
                       showRegistry);
    auto path = std::make_shared<std::string>();
    verbs
        .add(group, "use", "Use a registry that other stores use too; a new file is made",
             "  keld registry use /plant/ids.db\n",
             [path](Context& context) { return use(context, *path); })
        ->add_option("FILE", *path, "the registry; the ids of the store's own go along")
        ->required();
    verbs.add(group, "own", "Use the store's own registry again", "  keld registry own\n",
              [](Context& context) { return use(context, ""); });
    auto id = std::make_shared<std::string>();
    verbs
        .add(group, "add", "Register an id", "  keld registry add 000123\n",
             [id](Context& context) { return enter(context, *id, true); })
        ->add_option("ID", *id)
        ->required();
    verbs
        .add(group, "remove", "Take an id out", "  keld registry remove 000123\n",
             [id](Context& context) { return enter(context, *id, false); })
        ->add_option("ID", *id)
        ->required();
    verbs.add(group, "off", "Let the registry be out of reach for everybody who uses it",
              "  keld registry off\n", [](Context& context) { return reach(context, false); });
    verbs.add(group, "on", "Let it be reached again", "  keld registry on\n",
              [](Context& context) { return reach(context, true); });
}

}  // namespace keld
