#include "tests/bom/bom_service.h"

#include <unistd.h>

#include <cstdlib>
#include <regex>

#include "platform/mv_dst.h"
#include "platform/mv_fil.h"
#include "platform/mv_heap.h"
#include "platform/mv_line.h"
#include "platform/mv_obj.h"
#include "tests/support/files.h"

namespace bom {

namespace fs = std::filesystem;

namespace {}  // namespace

Structure::Structure() {
    ::setenv("MV_TMP_DIR", directory.string().c_str(), 1);
}

tag_t Structure::part(const std::string& name) {
    const auto slash = name.find('/');
    const std::string id = name.substr(0, slash);
    const auto known = [&](const std::string& text) -> tag_t {
        try {
            return world.bench.resolve(text);
        } catch (const mervane::Failure&) {
            return NULLTAG;
        }
    };
    const tag_t item = known(id);
    if (item == NULLTAG)
        world.item(id);
    const std::string revision = slash == std::string::npos ? "A" : name.substr(slash + 1);
    const tag_t found = known(id + "/" + revision);
    return found != NULLTAG ? found : world.revision(known(id), revision);
}

tag_t Structure::use(const std::string& parent, const std::string& child, const std::string& number,
                     const std::string& quantity) {
    return world.bench.addOccurrence(part(parent), part(child), quantity, number);
}

void Structure::note(tag_t occurrence, const std::string& type, const std::string& text) {
    world.bench.set(occurrence, "note_names", {type});
    world.bench.set(occurrence, "note_values", {text});
}

tag_t Structure::open(const std::string& top) {
    return world.bench.openBomWindow(part(top));
}

void Structure::denyWrite(tag_t denied) {
    world.bench.addRight({"all", "", "object", std::to_string(denied), "WRITE", false});
}

std::vector<tag_t> Structure::children(tag_t line) {
    int count = 0;
    tag_t* list = nullptr;
    EXPECT_EQ(0, LINE_ask_child_lines(line, &count, &list));
    std::vector<tag_t> found(list, list + count);
    HEAP_free(list);
    return found;
}

std::string Structure::text(tag_t line, const char* property) {
    char* value = nullptr;
    EXPECT_EQ(0, OBJ_ask_value_string(line, property, &value)) << property;
    const std::string found = value ? value : "";
    HEAP_free(value);
    return found;
}

std::vector<std::string> Structure::shown(tag_t line) {
    std::vector<std::string> found;
    for (const tag_t each : children(line)) {
        const std::string quantity = text(each, "bl_quantity");
        found.push_back(text(each, "bl_item_item_id") + "[" + text(each, "bl_sequence_no") + "]" +
                        (quantity.empty() ? "" : " x" + quantity));
    }
    return found;
}

void Structure::unpackAll(tag_t line) {
    for (const tag_t each : children(line))
        EXPECT_EQ(0, LINE_unpack(each));
}

ServiceRun Structure::run(tag_t top, const std::vector<tag_t>& lines, int level, int sort) {
    world.bench.sendArguments({top, lines, level, sort});
    ServiceRun run;
    run.status = KELD_PSE_PackAndResequenceBom(&run.dataset);
    return run;
}

std::string Structure::protocolPath() const {
    return (directory / (std::string(kDataset) + std::to_string(::getpid()) + ".log")).string();
}

std::string Structure::protocol() const {
    return keld_test::readText(protocolPath());
}

std::vector<std::string> Structure::contents(tag_t dataset) {
    int count = 0;
    tag_t* list = nullptr;
    EXPECT_EQ(0, DST_ask_all_dataset_named_refs(dataset, "Text", &count, &list));
    std::vector<std::string> found;
    for (int i = 0; i < count; ++i) {
        const fs::path copy = directory / "exported";
        EXPECT_EQ(0, FIL_export_file(list[i], copy.string().c_str()));
        found.push_back(keld_test::readText(copy));
        fs::remove(copy);
    }
    HEAP_free(list);
    return found;
}

std::vector<std::string> remarks(world::World& world, std::string_view levels) {
    static const std::regex place(R"( +\S+:\d+$)");
    std::vector<std::string> found;
    for (const std::string& line : world.lines(levels))
        if (line != "Pref:PackAndResequenceBOM.NoteTypesToCompare not set" &&
            !line.starts_with("Pref:PackAndResequenceBOM.SEQNO_") &&
            !line.starts_with("Pref:PackAndResequenceBOM.SetDefaultQuantity"))
            found.push_back(std::regex_replace(line, place, ""));
    return found;
}

}  // namespace bom
