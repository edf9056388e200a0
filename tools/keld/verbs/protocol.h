#pragma once

// The protocol of a resequence run, as docs/resequence-protocol.md describes it.

#include <string>
#include <vector>

#include "tools/keld/host/output.h"

namespace keld {

struct ProtocolLine {
    std::string component;            // item id/revision id
    std::string before, now, status;  // numbers; `now` is empty for a line that kept its number
};

struct ProtocolBlock {
    std::string parent;
    std::vector<ProtocolLine> lines;
};

// Read the blocks; lines in no known form are ignored.
std::vector<ProtocolBlock> readProtocol(const std::string& text);

Json asJson(const std::vector<ProtocolBlock>& protocol);
std::string asText(const std::vector<ProtocolBlock>& protocol);

}  // namespace keld
