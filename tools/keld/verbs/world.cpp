// import, load, export: whole product structures.

#include <CLI/CLI.hpp>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <memory>
#include <sstream>

#include "tools/keld/host/context.h"
#include "tools/keld/host/progress.h"
#include "tools/keld/host/run.h"
#include "tools/keld/host/system.h"
#include "tools/keld/lint/ini.h"

namespace keld {

namespace {

namespace fs = std::filesystem;
using mervane::ImportReport;

enum class Format { Unknown, Step, Json };

Format formatOf(const std::string& path, std::istream& in) {
    const std::string extension = asciiLower(pathOf(path).extension().string());
    if (extension == ".stp" || extension == ".step" || extension == ".p21")
        return Format::Step;
    if (extension == ".json")
        return Format::Json;
    char start[256] = {};
    in.read(start, sizeof start - 1);
    in.clear();
    in.seekg(0);
    std::string_view text(start);
    if (text.starts_with("\xEF\xBB\xBF"))
        text.remove_prefix(3);
    const auto first = text.find_first_not_of(" \t\r\n");
    if (first == std::string_view::npos)
        return Format::Unknown;
    if (text.substr(first).starts_with("ISO-10303-21"))
        return Format::Step;
    return text[first] == '{' ? Format::Json : Format::Unknown;
}

std::ifstream openFile(const std::string& path) {
    std::error_code failure;
    const fs::file_status status = fs::status(pathOf(path), failure);
    if (path == "-" && !fs::exists(status))
        throw CommandError("an import needs a file, not the standard input: it is read twice");
    if (fs::is_directory(status))
        throw CommandError(path + " is a directory, not a file");
    if (fs::exists(status) && !fs::is_regular_file(status))
        throw CommandError(path + " is no regular file");
    if (!fs::exists(status))
        throw CommandError(
            "there is no file " + path +
            (failure && status.type() == fs::file_type::none ? ": " + failure.message() : ""));
    std::ifstream in(pathOf(path), std::ios::binary);
    if (!in)
        throw CommandError("can't read " + path + ": " + std::strerror(errno));
    return in;
}

int show(Context& context, const std::string& path, const ImportReport& report) {
    context.document = {{"file", path},
                        {"items", report.items},
                        {"revisions", report.revisions},
                        {"occurrences", report.occurrences},
                        {"objects", report.objects},
                        {"renamed_ids", report.renamed_ids},
                        {"top", report.top ? Json(context.label(report.top)) : Json()},
                        {"notes", report.notes}};
    std::string text = "imported " + keld::shown(path) + ": " +
                       counted(static_cast<std::size_t>(report.items), "item") + ", " +
                       counted(static_cast<std::size_t>(report.revisions), "revision") + ", " +
                       counted(static_cast<std::size_t>(report.occurrences), "occurrence") + ", " +
                       counted(static_cast<std::size_t>(report.objects), "object") + " in all\n";
    if (report.renamed_ids > 0)
        text += counted(static_cast<std::size_t>(report.renamed_ids), "id") +
                " got a suffix because it was taken\n";
    if (report.top)
        text += "top: " + context.title(report.top) + "\n";
    for (const std::string& note : report.notes)
        text += "note: " + keld::shown(note) + "\n";
    context.print(text);
    return kExitDone;
}

int load(Context& context, const std::string& path) {
    std::ifstream in = openFile(path);
    context.open();
    ImportReport report;
    {
        const Progress progress("importing " + path);
        changeAll(context, {}, "import", path,
                  [&] { report = context.workbench().importWorld(in, path); });
    }
    return show(context, path, report);
}

int import(Context& context, const std::string& path) {
    std::ifstream in = openFile(path);
    const Format format = formatOf(path, in);
    if (format == Format::Unknown)
        throw CommandError(path + " is neither a STEP file (ISO-10303-21) nor a JSON document");
    if (format == Format::Json)
        return load(context, path);
    context.open();
    ImportReport report;
    {
        const Progress progress("importing " + path);
        changeAll(context, {}, "import", path,
                  [&] { report = context.workbench().importStep(in, path); });
    }
    return show(context, path, report);
}

// Move the file to the path. Without force, a link fails if a file has come there meanwhile.
void give(const std::string& beside, const std::string& path, bool force) {
    std::error_code failure;
    if (!force) {
        fs::create_hard_link(pathOf(beside), pathOf(path), failure);
        if (failure == std::errc::file_exists)
            throw CommandError(path + " exists already; --force overwrites it");
        if (!failure) {
            fs::remove(pathOf(beside));
            return;
        }
    }
    fs::rename(pathOf(beside), pathOf(path));
}

int exportTo(Context& context, const std::string& path, bool force) {
    context.open();
    std::vector<mervane::CheckFinding> damaged;
    if (path.empty() || path == "-") {
        std::ostringstream out;
        {
            const Progress progress("exporting");
            damaged = context.workbench().exportWorld(out);
        }
        // The export lacks the contents of damaged files, so the user must know.
        noteDamaged(context, damaged);
        if (context.json())
            context.document = Json::parse(out.str());
        else
            writeBytes(out.str());
        return damaged.empty() ? kExitDone : kExitFailed;
    }
    if (fs::exists(pathOf(path)) && !force)
        throw CommandError(path + " exists already; --force overwrites it");
    // Write to a file beside it first: after a failure the existing file is still whole.
    const std::string beside = makeFileBeside(path);
    try {
        std::ofstream out(pathOf(beside), std::ios::binary);
        if (!out)
            throw CommandError("can't write " + path + ": " + std::strerror(errno));
        {
            const Progress progress("exporting");
            damaged = context.workbench().exportWorld(out);
        }
        out.close();
        if (!out)
            throw CommandError("can't write " + path + ": " + std::strerror(errno));
        give(beside, path, force);
    } catch (...) {
        std::error_code ignored;
        fs::remove(pathOf(beside), ignored);
        throw;
    }
    context.document["file"] = path;
    context.document["bytes"] = fs::file_size(pathOf(path));
    context.document["damaged"] = noteDamaged(context, damaged);
    context.print("wrote " + shown(path) + "\n");
    return damaged.empty() ? kExitDone : kExitFailed;
}

}  // namespace

void addWorldVerbs(Verbs& verbs) {
    auto imported = std::make_shared<std::string>();
    verbs
        .add(&verbs.app, "import", "Import a product structure from a STEP or JSON file",
             "  keld import gearbox.step\n"
             "  keld import samples/gearbox.json\n",
             [imported](Context& context) { return import(context, *imported); })
        ->add_option("FILE", *imported, "told apart by extension, else by content")
        ->required();

    auto loaded = std::make_shared<std::string>();
    verbs
        .add(&verbs.app, "load", "Load a world written as JSON",
             "  keld load samples/gearbox.json\n",
             [loaded](Context& context) { return load(context, *loaded); })
        ->add_option("FILE", *loaded, "a JSON document as `keld export` writes it")
        ->required();

    auto exported = std::make_shared<std::string>();
    auto force = std::make_shared<bool>(false);
    CLI::App* verb = verbs.add(
        &verbs.app, "export", "Write everything that the store holds as JSON",
        "  keld export > world.json\n"
        "  keld export world.json --force\n",
        [exported, force](Context& context) { return exportTo(context, *exported, *force); });
    verb->add_option("FILE", *exported, "where to write; without it, standard output");
    verb->add_flag("--force", *force, "overwrite an existing file");
}

}  // namespace keld
