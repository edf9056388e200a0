// Calls of one service with arguments of the right kinds mostly, else with others, too few or too
// many.

#include <cstdlib>
#include <string_view>

#include "platform/keld_basetool.h"
#include "platform/mv_heap.h"
#include "tests/fuzz/service_name.h"
#include "tests/fuzz/service_world.h"
#include "tools/keld/services.h"

namespace {

using keld::Argues;
using keld::Holds;
using keld::Slot;

constexpr int untouched = 0x5a5a5a5a;
constexpr int kNotBounded = -1;

struct Leaves {
    int most_blocks;  // kNotBounded: for the reasons below
    bool no_locks;
};

// Blocks: only the job item service frees all its arguments. The diagnostics keep their text and
// the deletion its list. The create-job service keeps its all-types flag and the array of the
// relation names, and everything where it ends at once on an object. The copy keeps its list, and
// its lines from one call to the next. The status manager, the renames and the pack keep their
// arguments, and lists where a call fails. Locks: what a rename or a copy couldn't end keeps its
// lock, new job items too, and a status run that fails in its second pass.
Leaves leavesOf(const keld::Service& service) {
    const std::string_view name = service.name;
    if (name == "KELD_SrvCallCRJFromPortal")
        return {kNotBounded, true};
    if (name == "KELD_SrvCallCRIFromPortal")
        return {0, false};
    const bool changes_nothing = service.effects != keld::Effects::Store;
    return {changes_nothing ? 1 : kNotBounded, changes_nothing};
}

const keld::Service& service() {
    const keld::Service* known = keld::serviceNamed(fuzz::fuzzed_service);
    fuzz::require(known != nullptr, "the service is known");
    return *known;
}

// Call it, and compare its results with the table.
void call(const keld::Service& service) {
    static char no_text[] = "untouched";
    fuzz::Result result{untouched, static_cast<tag_t>(untouched), no_text};
    const int status = fuzz::callFuzzedService(result);
    fuzz::require(!service.always_zero || status == 0, "it returns 0");
    fuzz::require(service.holds != Holds::Zero || result.number == 0, "the slot is 0");
    fuzz::require(service.holds != Holds::Returned || result.number == status,
                  "the slot has the status");
    if (service.slot == Slot::Tag)
        fuzz::require((status == 0) == (result.tag != static_cast<tag_t>(untouched)),
                      "a failed read leaves the slot alone");
    if (service.slot == Slot::Text) {
        fuzz::require(result.text != nullptr, "a text is given");
        fuzz::require((status == 0) == (result.text != no_text),
                      "there is a text where there is no failure");
        if (result.text != no_text)
            HEAP_free(result.text);
    }
}

constexpr const char* truths[] = {"true", "false", "", " ", "TRUE"};
constexpr const char* relations[] = {"all", "VANE_specification",
                                     "VANE_specification;VANE_reference", "VANE_master_form", ""};

mervane::Argument argument(Argues kind, fuzz::ServiceWorld& world, fuzz::Decisions& from) {
    switch (kind) {
        case Argues::Directory:
            return world.directory(from);
        case Argues::Program:
            return fuzz::ServiceWorld::program(from);
        case Argues::Status:
            return fuzz::ServiceWorld::status(from);
        case Argues::Type:
        case Argues::Types:
            return fuzz::ServiceWorld::type(from);
        case Argues::Truth:
            return from.wordOf(truths);
        case Argues::Relations:
            return from.wordOf(relations);
        case Argues::Number:
            return from.number();
        case Argues::Bits:
            return from.oneIn(8) ? from.number() : static_cast<int>(from.below(16));
        case Argues::Object:
            return world.object(from);
        case Argues::Item:
            return world.item(from);
        case Argues::Revision:
            return world.revision(from);
        case Argues::Line:
            return world.line(from);
        case Argues::Objects:
            return world.objects(from);
        case Argues::Lines:
            return world.lines(from);
        default:
            return from.word();
    }
}

std::vector<mervane::Argument> stream(const keld::Service& service, fuzz::ServiceWorld& world,
                                      fuzz::Decisions& from) {
    // A text moved to another place could become a program or a directory: only kinds without text
    // replace others.
    static constexpr Argues others[] = {Argues::Number, Argues::Object, Argues::Objects};
    std::vector<mervane::Argument> arguments;
    for (const keld::ServiceArgument& each : service.arguments) {
        if (from.oneIn(60))
            return arguments;
        arguments.push_back(argument(from.oneIn(60) ? from.pick(others) : each.as, world, from));
    }
    while (from.oneIn(30))
        arguments.push_back(argument(from.pick(others), world, from));
    return arguments;
}

}  // namespace

int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    static const keld::Service& called = service();
    fuzz::ServiceWorld& world = fuzz::serviceWorld();
    fuzz::Decisions from(data, size);
    world.beforeCall();
    world.configure(from);
    mervane_workbench()->sendArguments(stream(called, world, from));
    call(called);
    mervane_workbench()->sendArguments({});
    const Leaves leaves = leavesOf(called);
    world.afterCall(leaves.most_blocks, leaves.no_locks);
    return 0;
}
