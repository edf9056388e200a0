#pragma once

// What a run costs: calls of the platform by operation, objects loaded, statements, and where the
// time went. Counted for one run at a time, in the process.

#include <chrono>
#include <cstdint>
#include <map>
#include <string>

namespace mervane {

class RunCounts {
public:
    // Counting begins; it ends with this.
    RunCounts();
    ~RunCounts();
    RunCounts(const RunCounts&) = delete;

    // As in RunHead.
    std::map<std::string, std::int64_t> soFar() const;

private:
    std::chrono::steady_clock::time_point began_;
    std::uint64_t statements_, loaded_;
    bool counts_;  // false: another run of the process counts already
};

}  // namespace mervane
