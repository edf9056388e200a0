#pragma once

// One rename by the service, and the reason if it refuses.

#include "platform/keld_se.h"
#include "tools/keld/host/refusal.h"
#include "tools/keld/host/service.h"
#include "tools/keld/verbs/rename_objects.h"

namespace CLI {
class App;
}

namespace keld {

struct CsvWish;
struct RunWish;

constexpr int kRenameTestPass = RENAME_REVISIONS | RENAME_ITEM;

struct RenameRun {
    Outcome outcome;
    bool tested = true;
};

// Failure: CommandError if the object isn't an item.
void needItem(const Context& context, tag_t item, const std::string& name);
// Rename; with a revision, run a test pass first. NULLTAG: rename the item alone.
RenameRun runRename(Context& context, bool rehearses, tag_t item, tag_t revision,
                    const RenameIds& ids);
Refusal explainRename(const Context& context, const Outcome& outcome, const RenameStop& stop,
                      tag_t item, const RenameIds& ids);

// Carry out the renames of a file of rows, in one run.
int renameRows(Context& context, const CsvWish& csv, const RunWish& wish);

}  // namespace keld
