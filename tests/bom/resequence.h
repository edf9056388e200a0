#pragma once

// Child lines below one parent that are resequenced over the platform of lines, and what comes of
// it.

#include <cstdio>
#include <string>
#include <vector>

#include "libkeld_flow/keld_par/keld_acbomlinechildrenobjects.h"
#include "tests/bom/bom_lines.h"
#include "tests/bom/reference_model.h"

namespace bom {

// Takes what the process prints on its standard output as long as it lives.
class StandardOutput {
public:
    StandardOutput();
    ~StandardOutput();
    StandardOutput(const StandardOutput&) = delete;
    StandardOutput& operator=(const StandardOutput&) = delete;
    // What came since the last call.
    std::string text();

private:
    std::FILE* file_;
    int kept_;
};

// One run and its traces, in the order of the array at its end.
struct Outcome {
    std::vector<std::string> items, numbers, assigned, statuses;
    std::string printed;
    std::vector<std::string> calls;  // after the lines are made
    int last_number = 0;
};

class Resequence : public BomLines {
protected:
    // The lines of `give` are resequenced; the objects are given back.
    Outcome run(int increment, bool sort, const char* default_quantity = "");
    // The same with lines "component number" in short.
    Outcome run(const std::vector<line_platform::Line>& lines, int increment, bool sort) {
        p.give(lines);
        return run(increment, sort);
    }
    Outcome keep(const std::vector<line_platform::Line>& lines, int increment = 10) {
        return run(lines, increment, false);
    }
    Outcome sorted(const std::vector<line_platform::Line>& lines, int increment = 10) {
        return run(lines, increment, true);
    }
    static std::vector<bom_model::Component> components(
        const std::vector<line_platform::Line>& lines);

    StandardOutput output;
};

}  // namespace bom
