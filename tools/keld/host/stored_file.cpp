// cat: the content of a dataset's file.

#include "tools/keld/host/stored_file.h"

#include <CLI/CLI.hpp>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <memory>

#include "platform/mv_dst.h"
#include "platform/mv_fil.h"
#include "tools/keld/host/nearest.h"
#include "tools/keld/host/platform_text.h"
#include "tools/keld/host/system.h"

namespace keld {

namespace {

namespace fs = std::filesystem;

constexpr int kFileReference = 2;

// Removed with its content at the end.
class TemporaryDirectory {
public:
    TemporaryDirectory() : path_(pathOf(makeTemporaryDirectory("keld-file"))) {}
    ~TemporaryDirectory() {
        std::error_code ignored;
        fs::remove_all(path_, ignored);
    }
    TemporaryDirectory(const TemporaryDirectory&) = delete;
    const fs::path& path() const { return path_; }

private:
    fs::path path_;
};

struct Place {
    std::string reference;
    tag_t file = NULLTAG;
};

Place findFile(Context& context, tag_t dataset, const std::string& reference) {
    int count = 0;
    require(context, DST_ask_dataset_ref_count(dataset, &count), "DST_ask_dataset_ref_count");
    std::vector<std::string> known;
    for (int i = 0; i < count; ++i) {
        char name[129] = "";
        int kind = 0;
        tag_t object = NULLTAG;
        require(context, DST_find_dataset_named_ref(dataset, i, name, &kind, &object),
                "DST_find_dataset_named_ref");
        if (kind != kFileReference)
            continue;
        if (reference.empty() || reference == name) {
            context.workbench().needRead(object);
            return {name, object};
        }
        known.push_back(name);
    }
    throw CommandError(context.title(dataset) + " has no file" +
                           (reference.empty() ? "" : " under the reference '" + reference + "'"),
                       nearest(reference, known));
}

std::string originalName(Context& context, tag_t file) {
    char name[133] = "";
    require(context, FIL_ask_original_file_name(file, name), "FIL_ask_original_file_name");
    return name;
}

struct Wanted {
    std::string dataset, reference, output;
};

int cat(Context& context, const Wanted& wanted) {
    context.open();
    const tag_t dataset = context.object(wanted.dataset);
    context.workbench().needRead(dataset);
    const mervane::Found found = context.workbench().describe(dataset);
    if (found.cls != "Dataset")
        throw CommandError(context.title(dataset) + " is a " + found.type + ", not a dataset");
    context.document = {{"object", context.label(dataset)}, {"dataset", found.name}};
    if (wanted.output.empty()) {
        const StoredFile file = readStoredFile(context, dataset, wanted.reference);
        context.document["reference"] = file.reference;
        context.document["name"] = file.name;
        context.document["bytes"] = file.content.size();
        context.document["text"] = file.content;
        if (!context.json())
            writeBytes(file.content);
        return kExitDone;
    }
    const Place place = findFile(context, dataset, wanted.reference);
    require(context, FIL_export_file(place.file, wanted.output.c_str()), "FIL_export_file");
    context.document["reference"] = place.reference;
    context.document["name"] = originalName(context, place.file);
    context.document["bytes"] = fs::file_size(pathOf(wanted.output));
    context.document["output"] = wanted.output;
    context.print("wrote " + shown(wanted.output) + "\n");
    return kExitDone;
}

}  // namespace

StoredFile readStoredFile(Context& context, tag_t dataset, const std::string& reference) {
    const Place place = findFile(context, dataset, reference);
    const TemporaryDirectory directory;
    const std::string path = (directory.path() / "content").string();
    require(context, FIL_export_file(place.file, path.c_str()), "FIL_export_file");
    std::ifstream in(pathOf(path), std::ios::binary);
    StoredFile file{place.reference, originalName(context, place.file), {}};
    file.content.assign(std::istreambuf_iterator<char>(in), {});
    if (!in.good() && !in.eof())
        throw CommandError("can't read the exported file " + path);
    return file;
}

void addStoredFileVerb(Verbs& verbs) {
    auto wanted = std::make_shared<Wanted>();
    CLI::App* verb = verbs.add(&verbs.app, "cat", "Show the content of a dataset's file",
                               "  keld cat 000123/A:drawing\n"
                               "  keld cat '#4711' --reference Text --output protocol.txt\n",
                               [wanted](Context& context) { return cat(context, *wanted); });
    verb->add_option("DATASET", wanted->dataset, "id/revision:dataset or #tag")->required();
    verb->add_option("--reference", wanted->reference, "named reference; else the first file");
    verb->add_option("--output", wanted->output,
                     "write to a file that doesn't exist yet, in place of the standard output");
}

}  // namespace keld
