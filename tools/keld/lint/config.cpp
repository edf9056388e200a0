#include "tools/keld/lint/config.h"

#include <filesystem>
#include <fstream>
#include <sstream>

#include "platform/keld_basetool.h"
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
    std::ostringstream text;
    text << in.rdbuf();
    return parseIni(text.str());
}

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
    return names;
}

}  // namespace keld
