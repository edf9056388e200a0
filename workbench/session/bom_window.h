#pragma once

// BOM windows: a structure as lines, from a top revision downwards. Lines are session-only tags;
// they are made when their parent is first asked for its children, in stored order. Values written
// to lines stay in the window until it is saved.

#include <map>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <unordered_map>
#include <vector>

#include "workbench/session/lines.h"

namespace mervane {

// What a line shows of its occurrence. One occurrence can be shown by many lines of a window (its
// assembly is used more than once): all of them share this.
struct OccurrenceValues {
    tag_t occurrence = NULLTAG;
    tag_t view_revision = NULLTAG;  // the one that holds the occurrence
    std::string quantity, sequence_no;
    std::map<std::string, std::string> notes;  // only those with a text
    std::int64_t version = 0;                  // of the occurrence when it was read
    bool dirty = false;
};

struct BomWindow;

struct BomLine {
    tag_t tag = NULLTAG;
    BomWindow* window = nullptr;
    BomLine* parent = nullptr;  // null: the top line
    tag_t revision = NULLTAG;
    OccurrenceValues* values = nullptr;  // null: the top line
    int level = 0;
    bool expanded = false;
    std::vector<BomLine*> all_children;  // in stored order, merged ones too
    BomLine* packed_into = nullptr;
    std::vector<BomLine*> packed;  // the lines merged into this one
};

// Where a window is meant, any of its lines is given. Failure kUnknownObject for a line of no open
// window.
class BomWindows {
public:
    explicit BomWindows(Session& session);
    ~BomWindows();
    BomWindows(const BomWindows&) = delete;

    // Open a window on a revision. Returns: its top line. Failure kWrongClass for an object that is
    // no item revision.
    tag_t open(tag_t revision);
    // Store the changed occurrences of the line's window in one transaction, while their view
    // revisions are locked. The failures of a lock (session.h), or kChangedMeanwhile if somebody
    // else has stored an occurrence since the window read it: nothing is stored and the window
    // keeps its values.
    void save(tag_t line);
    // Drop the window with its lines; what wasn't saved is lost.
    void close(tag_t line);

    // The reference holds until the window is closed.
    BomLine& line(tag_t tag);
    // The lines below, without those that are merged into another.
    std::vector<tag_t> children(tag_t line);
    // Merge the lines below the same parent that are like this one (revision, number and notes)
    // into it; it shows the sum of the quantities. Nothing for the top line, a merged line and one
    // whose quantity is no number.
    void pack(tag_t line);
    // Undo that; nothing for a line that isn't packed.
    void unpack(tag_t line);

    bool hasProperty(tag_t line, std::string_view name);
    // Failure kUnknownAttribute.
    Session::Property property(tag_t line, std::string_view name);
    // Set a note, the quantity or the number; of a packed line, in all lines that it merges.
    // Failure kUnknownAttribute; kReadOnly for another property, for the top line, a merged line
    // and the quantity of a packed one; kWrongKind for values other than one text, kBadValue for a
    // quantity that is no decimal number, kTooLong. Nothing is set then.
    void setProperty(tag_t line, std::string_view name, const Values& values);
    // A number for a name, above 0; the same for the life of the process. Failure
    // kUnknownAttribute.
    int attributeId(std::string_view name);
    std::string attributeName(int id) const;

private:
    Session& session_;
    std::vector<std::unique_ptr<BomWindow>> windows_;
    std::unordered_map<tag_t, BomLine*> lines_;
    std::set<std::string, std::less<>> note_types_;  // those found so far

    BomLine& addLine(BomWindow& window, BomLine* parent, tag_t revision, OccurrenceValues* values);
    OccurrenceValues& occurrenceValues(BomWindow& window, tag_t occurrence);
    void expand(BomLine& line);
    void store(const std::vector<OccurrenceValues*>& changed);
    bool isNoteType(std::string_view name);
    Session::Property ofLine(BomLine& line, std::string_view name);
    std::vector<OccurrenceValues*> writable(BomLine& line, std::string_view name);
};

// ---- quantities: decimal text, no floating point ----
// "2", "0.25", ".5": digits with at most one point.
bool isDecimal(std::string_view text);
// Requires: both are decimal. The sum without needless zeros: "0.1" and "0.2" give "0.3".
std::string addDecimals(std::string_view a, std::string_view b);

}  // namespace mervane
