#pragma once

// Services called as a client does, by the table of services.

#include <functional>
#include <string>
#include <vector>

#include "tests/faults/sweep.h"

namespace faults {

// Send arguments, which must be of the kinds that the service reads. With a slot of 99 before an
// integer; a text is freed.
void sendTo(world::World& world, const std::string& service,
            const std::vector<mervane::Argument>& arguments);
Outcome callService(world::World& world, const std::string& service, int (*function)(int*),
                    const std::vector<mervane::Argument>& arguments);
Outcome callService(world::World& world, const std::string& service, int (*function)(char**),
                    const std::vector<mervane::Argument>& arguments);

// What the service gives when a status travels up to it.
std::function<Outcome(int)> givenBy(const std::string& service);

}  // namespace faults
