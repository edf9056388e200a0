#pragma once

// The few functions of the platform that the service frame needs, for programs that link the frame
// without the workbench: an argument stream, error texts and a heap that counts.

#include <map>
#include <string>
#include <variant>
#include <vector>

namespace frame_platform {

using Argument = std::variant<int, std::string>;

// What the next service reads; a read after the end or of the other kind returns this status.
inline constexpr int read_failed = 4711;
void sendArguments(std::vector<Argument> arguments);
std::size_t argumentsLeft();

// Text of a status; others have none and their question fails.
void setErrorText(int status, const std::string& text);

int liveBlocks();
void failAllocations(bool fail);

}  // namespace frame_platform
