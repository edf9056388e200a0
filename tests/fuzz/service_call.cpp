// Calls of one service with arguments of the right kinds mostly, else with others, too few or too
// many.

#include <cstring>

#include "platform/keld_basetool.h"
#include "platform/keld_se.h"
#include "platform/mv_heap.h"
#include "tests/fuzz/service_world.h"

extern const char* const fuzzed_service;

namespace {

constexpr int untouched = 0x5a5a5a5a;
constexpr int kNotBounded = -1;
enum class Slot { Untouched, Status, Zero, Any };

struct Service {
    const char* name;
    // s text, S status, T type, B truth, R relations, d directory, p program, i integer, a small
    // one; o object, I item, V revision, L line; l list of objects, c of lines
    const char* kinds;
    int (*call)(int* slot);
    Slot slot;
    bool always_zero;      // what it returns
    int most_blocks_left;  // kNotBounded: by what stands at the table
    bool gives_locks_back;
};

int text(int (*service)(char**), int* slot) {
    static char none[] = "untouched";
    char* result = none;
    const int status = service(&result);
    fuzz::require(result != nullptr, "a text is given");
    *slot = result == none ? untouched : static_cast<int>(std::strlen(result));
    if (result != none)
        HEAP_free(result);
    fuzz::require((status == 0) == (result != none), "there is a text where there is no failure");
    return status;
}

int pack(int* slot) {
    tag_t dataset = static_cast<tag_t>(untouched);
    const int status = KELD_PSE_PackAndResequenceBom(&dataset);
    *slot = static_cast<int>(dataset);
    fuzz::require((status == 0) == (*slot != untouched), "a failed read leaves the slot alone");
    return status;
}

// Blocks: only the job item service frees all its arguments. The diagnostics keep their text and
// the deletion its list. The create-job service keeps its all-types flag and the array of the
// relation names, and everything where it ends at once on an object. The copy keeps its list, and
// its lines from one call to the next. The status manager, the renames and the pack keep their
// arguments, and lists where a call fails. Locks: what a rename or a copy couldn't end keeps its
// lock, new job items too, and a status run that fails in its second pass.
const Service services[] = {
    {"KELD_StatusManager", "STo", KELD_StatusManager, Slot::Any, true, kNotBounded, false},
    {"KELD_PSE_PackAndResequenceBom", "Lcii", pack, Slot::Any, false, kNotBounded, false},
    {"KELD_ReNameItem", "sssI", KELD_ReNameItem, Slot::Status, false, kNotBounded, false},
    {"KELD_ReNameItemExtended", "ssssIVa", KELD_ReNameItemExtended, Slot::Status, false,
     kNotBounded, false},
    {"KELD_CopyAttr", "ol", KELD_CopyAttr, Slot::Status, false, kNotBounded, false},
    {"KELD_SrvCallCRJFromPortal", "TddsssBRpl", KELD_SrvCallCRJFromPortal, Slot::Zero, false,
     kNotBounded, true},
    {"KELD_SrvCallCRIFromPortal", "sssssBRl", KELD_SrvCallCRIFromPortal, Slot::Zero, false, 0,
     false},
    {"KELD_DeleteDeluxe", "l", KELD_DeleteDeluxe, Slot::Zero, false, 1, true},
    {"KELD_SrvCall", "ais", [](int* slot) { return text(KELD_SrvCall, slot); }, Slot::Any, true, 1,
     true},
    {"KELD_SrvCallGetEnv", "s", [](int* slot) { return text(KELD_SrvCallGetEnv, slot); }, Slot::Any,
     false, 1, true},
};

const Service& service() {
    for (const Service& each : services)
        if (std::strcmp(each.name, fuzzed_service) == 0)
            return each;
    fuzz::require(false, "the service is known");
    std::abort();
}

constexpr const char* truths[] = {"true", "false", "", " ", "TRUE"};
constexpr const char* relations[] = {"all", "VANE_specification",
                                     "VANE_specification;VANE_reference", "VANE_master_form", ""};

mervane::Argument argument(char kind, fuzz::ServiceWorld& world, fuzz::Decisions& from) {
    switch (kind) {
        case 'd':
            return world.directory(from);
        case 'p':
            return fuzz::ServiceWorld::program(from);
        case 'S':
            return fuzz::ServiceWorld::status(from);
        case 'T':
            return fuzz::ServiceWorld::type(from);
        case 'B':
            return from.wordOf(truths);
        case 'R':
            return from.wordOf(relations);
        case 'i':
            return from.number();
        case 'a':
            return from.oneIn(8) ? from.number() : static_cast<int>(from.below(16));
        case 'o':
            return world.object(from);
        case 'I':
            return world.item(from);
        case 'V':
            return world.revision(from);
        case 'L':
            return world.line(from);
        case 'l':
            return world.objects(from);
        case 'c':
            return world.lines(from);
        default:
            return from.word();
    }
}

std::vector<mervane::Argument> stream(const char* kinds, fuzz::ServiceWorld& world,
                                      fuzz::Decisions& from) {
    // A text moved to another place could become a program or a directory: only kinds without text
    // stand in for others.
    static constexpr char others[] = {'i', 'o', 'l'};
    std::vector<mervane::Argument> arguments;
    for (const char* kind = kinds; *kind != '\0'; ++kind) {
        if (from.oneIn(60))
            return arguments;
        arguments.push_back(argument(from.oneIn(60) ? from.pick(others) : *kind, world, from));
    }
    while (from.oneIn(30))
        arguments.push_back(argument(from.pick(others), world, from));
    return arguments;
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const Service& called = service();
    fuzz::ServiceWorld& world = fuzz::serviceWorld();
    fuzz::Decisions from(data, size);
    world.beforeCall();
    world.configure(from);
    mervane_workbench()->sendArguments(stream(called.kinds, world, from));
    int slot = untouched;
    const int status = called.call(&slot);
    mervane_workbench()->sendArguments({});
    fuzz::require(!called.always_zero || status == 0, "it returns 0");
    fuzz::require(called.slot != Slot::Zero || slot == 0, "the slot is 0");
    fuzz::require(called.slot != Slot::Status || slot == status, "the slot has the status");
    world.afterCall(called.most_blocks_left, called.gives_locks_back);
    return 0;
}
