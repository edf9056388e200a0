#include "tests/faults/service.h"

#include <stdexcept>

#include "platform/mv_heap.h"
#include "tools/keld/services.h"

namespace faults {
namespace {

const keld::Service& known(const std::string& name) {
    const keld::Service* service = keld::serviceNamed(name);
    if (!service)
        throw std::logic_error("there is no service " + name);
    return *service;
}

}  // namespace

void sendTo(world::World& world, const std::string& service,
            const std::vector<mervane::Argument>& arguments) {
    static constexpr const char* kKinds[] = {"int", "string", "tag", "tags"};
    const keld::Service& called = known(service);
    std::string sent;
    for (const mervane::Argument& argument : arguments)
        sent += (sent.empty() ? "" : ", ") + std::string(kKinds[argument.index()]);
    if (sent != wireKinds(called))
        throw std::logic_error(service + " reads " + wireKinds(called) + ", not " + sent);
    world.bench.sendArguments(arguments);
}

Outcome callService(world::World& world, const std::string& service, int (*function)(int*),
                    const std::vector<mervane::Argument>& arguments) {
    sendTo(world, service, arguments);
    int slot = 99;
    const int status = function(&slot);
    return {status, slot};
}

Outcome callService(world::World& world, const std::string& service, int (*function)(char**),
                    const std::vector<mervane::Argument>& arguments) {
    sendTo(world, service, arguments);
    char* text = nullptr;
    const int status = function(&text);
    HEAP_free(text);
    return {status, {}};
}

std::function<Outcome(int)> givenBy(const std::string& service) {
    const keld::Service& called = known(service);
    return [&called](int status) -> Outcome {
        const int returned = called.always_zero ? 0 : status;
        switch (called.holds) {
            case keld::Holds::Returned:
            case keld::Holds::OwnStatus:
                return {returned, status};
            case keld::Holds::Zero:
                return {returned, 0};
            default:
                return {returned, {}};
        }
    };
}

}  // namespace faults
