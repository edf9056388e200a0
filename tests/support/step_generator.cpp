#include "tests/support/step_generator.h"

#include <cstdio>
#include <ostream>
#include <random>
#include <string>
#include <vector>

namespace keld_test {
namespace {

class Writer {
public:
    Writer(std::ostream& out, const StepShape& shape)
        : out_(out), shape_(shape), random_(shape.seed) {}

    StepCounts write() {
        put("ISO-10303-21;\nHEADER;\nFILE_DESCRIPTION((''),'2;1');\n"
            "FILE_NAME('generated.stp','2026-01-02T03:04:05',(''),(''),'','','');\n"
            "FILE_SCHEMA(('AUTOMOTIVE_DESIGN'));\nENDSEC;\nDATA;\n");
        std::vector<Part> level;
        for (int i = 0; i < shape_.parts; ++i)
            level.push_back({product("part"), 1});
        while (level.size() > 1)
            level = assemblies(level);
        counts_.exploded = level.empty() ? 0 : level[0].lines;
        while (counts_.bytes < shape_.bytes)
            geometry();
        put("ENDSEC;\nEND-ISO-10303-21;\n");
        return counts_;
    }

private:
    struct Part {
        int definition;
        long long lines;  // when exploded, itself included
    };

    void put(const std::string& text) {
        out_ << text;
        counts_.bytes += text.size();
    }
    int entity(const std::string& text) {
        put("#" + std::to_string(++last_) + "=" + text + ";\n");
        return last_;
    }
    static std::string ref(int instance) { return "#" + std::to_string(instance); }

    int product(const std::string& kind) {
        const int n = ++counts_.products;
        const std::string id =
            shape_.duplicate_ids && n % 3 == 0 ? "Document" : kind + "-" + std::to_string(n);
        const int p =
            entity("PRODUCT('" + id + "','" + kind + " " + std::to_string(n) + "','',())");
        const int f = entity("PRODUCT_DEFINITION_FORMATION('',''," + ref(p) + ")");
        fill();
        return entity("PRODUCT_DEFINITION('design',''," + ref(f) + ",$)");
    }

    // The level above: groups of parts, each under an assembly of its own.
    std::vector<Part> assemblies(const std::vector<Part>& below) {
        const auto group = static_cast<std::size_t>(shape_.children < 2 ? 2 : shape_.children);
        std::vector<Part> level;
        for (std::size_t i = 0; i < below.size(); i += group) {
            Part assembly{product("assembly"), 1};
            for (std::size_t j = i; j < below.size() && j < i + group; ++j)
                for (int k = 0; k < shape_.uses; ++k) {
                    entity("NEXT_ASSEMBLY_USAGE_OCCURRENCE('" + std::to_string(++counts_.usages) +
                           "','',''," + ref(assembly.definition) + "," + ref(below[j].definition) +
                           ",$)");
                    assembly.lines += below[j].lines;
                }
            level.push_back(assembly);
        }
        return level;
    }

    // Spread the geometry over the file, as real writers do.
    void fill() {
        const std::size_t products = static_cast<std::size_t>(shape_.parts) * 2 + 1;
        const std::size_t wanted =
            shape_.bytes / products * static_cast<std::size_t>(counts_.products);
        while (counts_.bytes < wanted)
            geometry();
    }

    void geometry() {
        char text[160];
        const auto number = [&] {
            return static_cast<double>(static_cast<int>(random_() % 2'000'001) - 1'000'000) / 997.0;
        };
        std::snprintf(text, sizeof text, "CARTESIAN_POINT('it''s',(%.10g.,%.6E,%.4f))",
                      static_cast<double>(random_() % 1000), number(), number());
        const int point = entity(text);
        const int direction = entity("DIRECTION('',(0.,0.,1.))");
        entity("AXIS2_PLACEMENT_3D(''," + ref(point) + "," + ref(direction) + ",$)");
        if (random_() % 8 == 0)
            entity(
                "(BOUNDED_CURVE() B_SPLINE_CURVE(3,(" + ref(point) + "," + ref(point) +
                "),.UNSPECIFIED.,.F.,.F.) /* a curve; of #1 */ CURVE() REPRESENTATION_ITEM(''))");
    }

    std::ostream& out_;
    StepShape shape_;
    std::mt19937 random_;
    StepCounts counts_;
    int last_ = 0;
};

}  // namespace

StepCounts writeStep(std::ostream& out, const StepShape& shape) {
    return Writer(out, shape).write();
}

}  // namespace keld_test
