#pragma once

// A structure of three levels with clashes on each.

#include <sstream>

#include "tests/bom/bom_service.h"

namespace bom {

// 100 has 200 twice on clashing numbers with 300; 200 has 400 and 500, 500 has 600 twice.
class ThreeLevels : public bom::BomService {
protected:
    ThreeLevels() {
        use("100", "200", "10");
        use("100", "300", "10");
        use("200", "400", "10");
        use("200", "500", "10");
        use("500", "600", "10");
        use("500", "700", "10");
        top = open("100");
    }
    tag_t line200() { return child(top, 0); }
    tag_t line500() { return child(line200(), 1); }
    std::vector<std::string> blocks() {
        std::vector<std::string> parents;
        std::istringstream text(protocol());
        for (std::string line; std::getline(text, line);)
            if (!line.empty() && line.front() != '\t')
                parents.push_back(line);
        return parents;
    }
    tag_t top = NULLTAG;
};

inline const std::vector<std::string> kTopDone = {"200[10]", "300[20]"},
                                      kTopLeft = {"200[10]", "300[10]"};
inline const std::vector<std::string> k200Done = {"400[10]", "500[20]"},
                                      k200Left = {"400[10]", "500[10]"};
inline const std::vector<std::string> k500Done = {"600[10]", "700[20]"},
                                      k500Left = {"600[10]", "700[10]"};

}  // namespace bom
