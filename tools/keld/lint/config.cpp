#include "tools/keld/lint/config.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <map>
#include <memory>

#include "platform/keld_basetool.h"
#include "platform/keld_qsktool.h"
#include "platform/mv_heap.h"
#include "platform/mv_obj.h"
#include "tools/keld/host/platform_text.h"
#include "tools/keld/host/system.h"

namespace keld {

std::string statusConfigPath() {
    return (pathOf(KELD_GetCfgPath()) / "keld_statusmanager.ini").string();
}

std::optional<IniFile> readIniFile(const std::string& path) {
    std::error_code ignored;
    if (!std::filesystem::is_regular_file(pathOf(path), ignored))
        return std::nullopt;
    std::ifstream in(pathOf(path), std::ios::binary);
    if (!in)
        return std::nullopt;
    std::string text(kMostIniBytes + 1, '\0');
    in.read(text.data(), static_cast<std::streamsize>(text.size()));
    text.resize(static_cast<std::size_t>(std::max<std::streamsize>(in.gcount(), 0)));
    const bool cut = text.size() > kMostIniBytes;
    if (cut) {
        const auto end = text.rfind('\n');
        text.resize(end == std::string::npos ? kMostIniBytes : end + 1);
    }
    IniFile file = parseIni(text);
    if (cut)
        file.cut = std::max(file.lines, 1);
    return file;
}

std::string whyNoIni(const std::string& path) {
    std::error_code ignored;
    const auto status = std::filesystem::status(pathOf(path), ignored);
    if (std::filesystem::is_directory(status))
        return path + " is a directory, not a file";
    if (std::filesystem::exists(status) && !std::filesystem::is_regular_file(status))
        return path + " is no regular file";
    return std::filesystem::exists(status) ? path + " can't be read" : "there is no file " + path;
}

ConfigFile needIni(const std::string& path) {
    ConfigFile file{path.empty() ? statusConfigPath() : path, {}};
    std::error_code ignored;
    if (!path.empty() && std::filesystem::is_directory(pathOf(path), ignored)) {
        const auto inside = pathOf(path) / "keld_statusmanager.ini";
        if (std::filesystem::is_regular_file(inside, ignored))
            file.path = inside.string();
    }
    std::optional<IniFile> ini = readIniFile(file.path);
    if (!ini)
        throw CommandError(whyNoIni(file.path) +
                           "; name its directory with --cfg or KELD_CFG_PATH");
    if (ini->cut > 0)
        throw CommandError(file.path + ": line " + std::to_string(ini->cut) +
                           ": the file has more than " + std::to_string(kMostIniBytes >> 20) +
                           " MB, which no configuration needs");
    file.ini = std::move(*ini);
    return file;
}

namespace {

// Finds the properties that a section can use, by asking the first such objects of the store.
class Properties {
public:
    explicit Properties(const Context& context) : context_(context) {}

    std::vector<std::string> of(const Reached& at, const std::string& form) {
        const auto [known, added] = known_.try_emplace(at.type + "\n" + form);
        if (added)
            known->second = ask(at, form);
        return known->second;
    }

private:
    std::vector<std::string> ask(const Reached& at, const std::string& form) const {
        std::string type = at.type;
        if (const auto dot = type.find('.'); dot != std::string::npos)
            type = type.substr(dot + 1) == "*" ? "Dataset" : type.substr(dot + 1);
        constexpr int kMostAsked = 50;
        try {
            for (const auto& found : context_.workbench().find({"", type, "", kMostAsked})) {
                tag_t asked = form.empty() ? found.tag : NULLTAG;
                if (form == "MasterForm")
                    (void)KELD_GetMasterForm(found.tag, &asked);
                else if (!form.empty())
                    (void)KELD_GetNamedRefForm(found.tag, form.c_str(), &asked, true, nullptr);
                if (asked != NULLTAG)
                    return namesOf(asked);
            }
        } catch (const mervane::Failure&) {
            // The store doesn't know the type, so it has no objects to ask.
        }
        return {};
    }

    // Give stored attributes, and the properties that the platform computes.
    std::vector<std::string> namesOf(tag_t object) const {
        std::vector<std::string> names = context_.workbench().attributeNames(object);
        for (const char* made :
             {"object_type", "object_string", "is_modifiable", "checked_out", "checked_out_user",
              "last_release_status", "item_id", "revision_list"}) {
            char* text = nullptr;
            if (OBJ_UIF_ask_value(object, made, &text) == 0)
                names.emplace_back(made);
            HEAP_free(text);
        }
        return names;
    }

    const Context& context_;
    std::map<std::string, std::vector<std::string>> known_;
};

}  // namespace

KnownNames knownNames(const Context& context) {
    mervane::Workbench& workbench = context.workbench();
    KnownNames names;
    names.types = workbench.typeNames("");
    names.relations = workbench.relationTypeNames();
    names.privileges = workbench.privilegeNames();
    names.item_types = workbench.typeNames("Item");
    names.revision_types = workbench.typeNames("ItemRevision");
    names.dataset_types = workbench.typeNames("Dataset");
    names.bvr_types = workbench.typeNames("STRBOMViewRevision");
    for (const auto& found : workbench.find({"", "FLOWTemplate", "", 0}))
        names.templates.push_back(found.name);
    for (const auto& found : workbench.find({"", "ReleaseStatus", "", 0}))
        names.statuses.push_back(display(found.tag, "name"));
    const auto properties = std::make_shared<Properties>(context);
    names.properties = [properties](const Reached& at, const std::string& form) {
        return properties->of(at, form);
    };
    return names;
}

void openOrStandard(Context& context) {
    if (context.storeMayBeThere())
        return context.open();
    context.note("there is no store at " + context.storePath() +
                 "; the names of the standard data model serve");
    context.reopen(":memory:");
    context.setUpLog();
}

}  // namespace keld
