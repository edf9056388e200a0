#include "tools/keld/lint/keys.h"

#include <algorithm>

#include "tools/keld/lint/ini.h"

namespace keld {

const std::vector<SectionForm>& sectionForms() {
    static const std::vector<SectionForm> forms = {
        {SectionKind::Global, "GLOBAL", "`PrivilegName` of all sections that name none"},
        {SectionKind::Select, "SelectWSO",
         "the types on which a run may start, each `=1` (any other value: not)"},
        {SectionKind::Process, "<status>_<type>",
         "what applies to one object, by target status and by how it was reached"},
        {SectionKind::Process, "<status>_Old_<type>",
         "the same for older revisions, and for everything reached below one"},
        {SectionKind::Form, "<section>_MasterForm",
         "the values for the master form of an item or a revision"},
        {SectionKind::Form, "<section>_<reference>",
         "the values for a form that a dataset has by this reference"}};
    return forms;
}

const std::vector<ConfigKey>& configKeys() {
    using S = SectionKind;
    using F = ValueForm;
    static const std::vector<ConfigKey> keys = {
        {S::Global, "PrivilegName", F::Text, "privilege", "CHANGE", kValueLimit, false,
         "privilege that the user needs on each object whose section names none"},
        {S::Select, "<type>", F::Integer, "0 or 1", "0", kValueLimit, true,
         "exactly 1 lets a run start on objects of this type"},
        {S::Process, "DoNothingOnReleaseStatus", F::Statuses, "statuses", "", kValueLimit, false,
         "an object whose latest status is here is left alone in passes 1 and 2, with all "
         "below it"},
        {S::Process, "PrevReleaseStatus", F::Statuses, "statuses", "", kValueLimit, false,
         "latest statuses that allow the change; `none` allows objects without any; empty allows "
         "only those"},
        {S::Process, "PrivilegName", F::Text, "privilege", "", kValueLimit, false,
         "privilege that the user needs on the object; a missing key stands for that of `GLOBAL`"},
        {S::Process, "CheckNeedFields", F::Fields, "fields", "", kValueLimit, false,
         "fields of its master form that must not be empty, `a;b`"},
        {S::Process, "ChangeNoRek", F::Walks, "walk list", "", kValueLimit, true,
         "where to go first, and no further from there"},
        {S::Process, "ChangeForward", F::Walks, "walk list", "", kValueLimit, true,
         "where to go before the object itself is changed"},
        {S::Process, "SetAttributes", F::Forms, "forms", "", kValueLimit, false,
         "forms to fill: `MasterForm` of an item or a revision, names of references of a dataset"},
        {S::Process, "DeleteDatasets", F::Deletions, "relations and types", "", kValueLimit, false,
         "related datasets to delete: `<relation>.<type>` or `<relation>.*`, separated by `;`"},
        {S::Process, "Purge", F::Integer, "0 or 1", "0", kValueLimit, false,
         "exactly 1 deletes the older versions of the dataset"},
        {S::Process, "SetReleaseState", F::Text, "status", "", kStatusLimit, false,
         "status to set; `none` takes all away; empty sets none"},
        {S::Process, "StartJob", F::Text, "workflow template", "", kValueLimit, true,
         "workflow template to start on the object in pass 3"},
        {S::Process, "JobPrefix", F::Text, "text", "STATMGR_", kJobPrefixLimit, true,
         "start of the workflow's name; the seconds since 1970 follow"},
        {S::Process, "ChangeBack", F::Walks, "walk list", "", kValueLimit, true,
         "where to go after the object is changed"},
        {S::Form, "SetDefault", F::FormList, "`field=value`", "", kFormEntryLimit, false,
         "the value"},
        {S::Form, "SetActUserId", F::FormList, "`field`", "", kFormEntryLimit, false,
         "the user's id"},
        {S::Form, "SetActUserName", F::FormList, "`field`", "", kFormEntryLimit, false,
         "the user's name"},
        {S::Form, "SetActDate", F::FormList, "`field` or `field=format`", "", kFormEntryLimit,
         false,
         "today as text; without a format that of `DateFormat` in `[KELD_DateFormat]` of "
         "`keld_base.ini`, else `%d.%m.%Y`"},
        {S::Form, "SetActDateDate", F::FormList, "`field`", "", kFormEntryLimit, false,
         "now, as a date"},
        {S::Form, "Del_Date", F::FormList, "`field`", "", kFormEntryLimit, false,
         "nothing: the date is emptied"},
        {S::Form, "SetActRevId", F::FormList, "`field`", "", kFormEntryLimit, false,
         "**the group's name** (the key's name is older than its meaning)"},
        {S::Form, "SetActGroup", F::FormList, "`field=property`", "", kFormEntryLimit, false,
         "**a property of the object**, as shown to users"}};
    return keys;
}

const std::vector<WalkKind>& walkKinds() {
    static const std::vector<WalkKind> kinds = {
        {"LastItemRevision", "LastItemRevision", "from an item to its latest revision"},
        {"ItemOfRev", "ItemOfRev", "from a revision to its item"},
        {"OldItemRevision", "OldItemRevision",
         "from a revision to all older ones, oldest first; not in the test pass"},
        {"BOM", "BOM", "from a revision to its BOM view revisions"},
        {"Old_BOM", "Old_BOM", "the same as `BOM`"},
        {"ChildBomLines", "ChildBomLines", "from a BOM line to its child lines"},
        {"bl_revision", "bl_revision", "from a BOM line to its revision"},
        {"Rel", "Rel.<relation>.<type>",
         "from an object to those at the other end of a relation, of one type or (`*`) of all"},
        {"Old_Rel", "Old_Rel.<relation>.<type>", "the same as `Rel`"}};
    return kinds;
}

bool isOnEmpty(std::string_view name) {
    const std::size_t size = std::string_view(kOnEmpty).size();
    return name.size() > size && equalNoCase(name.substr(name.size() - size), kOnEmpty);
}

const ConfigKey* findKey(SectionKind section, std::string_view name) {
    if (section == SectionKind::Form && isOnEmpty(name))
        name.remove_suffix(std::string_view(kOnEmpty).size());
    for (const ConfigKey& key : configKeys())
        if (key.section == section && equalNoCase(key.name, name))
            return &key;
    return nullptr;
}

std::vector<std::string> keyNames(SectionKind section) {
    std::vector<std::string> names;
    for (const ConfigKey& key : configKeys())
        if (key.section == section)
            names.emplace_back(key.name);
    if (section == SectionKind::Form)
        for (std::size_t i = 0, count = names.size(); i < count; ++i)
            names.push_back(names[i] + kOnEmpty);
    return names;
}

std::vector<std::string> lineKeyNames() {
    std::vector<std::string> names;
    for (const ConfigKey& key : configKeys())
        if (key.section == SectionKind::Process && key.line)
            names.emplace_back(key.name);
    return names;
}

std::vector<std::string> walkKindNames() {
    std::vector<std::string> names;
    for (const WalkKind& kind : walkKinds())
        names.emplace_back(kind.name);
    return names;
}

std::string plain(std::string_view markdown) {
    std::string text;
    for (std::size_t i = 0; i < markdown.size(); ++i)
        if (markdown.substr(i, 2) == "**")
            ++i;
        else if (markdown[i] != '`')
            text += markdown[i];
    return text;
}

std::string limitOf(const ConfigKey& key) {
    if (key.form == ValueForm::FormList)
        return "entry " + std::to_string(kFormEntryLimit) + " bytes, value " +
               std::to_string(kFormValueLimit);
    if (key.form == ValueForm::Walks)
        return std::to_string(kEntryLimit) + " entries";
    return key.most == kValueLimit ? "" : std::to_string(key.most) + " bytes";
}

}  // namespace keld
