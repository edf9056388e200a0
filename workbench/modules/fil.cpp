// FIL_: stored files.

#include "platform/mv_fil.h"

#include "workbench/session/datasets.h"
#include "workbench/session/interface.h"

using namespace mervane;

namespace {

Object& fileObject(Session& session, tag_t tag) {
    return session.object(tag, *session.model().findClass("VaneFile"));
}

}  // namespace

extern "C" {

int FIL_ask_original_file_name(tag_t file, char* name /*133*/) {
    return call(
        "FIL_ask_original_file_name",
        [&] {
            need(name, "name");
            Session& session = currentSession();
            copyInto(name, 133, session.text(fileObject(session, file), "original_file_name"),
                     "original file name");
        },
        file, name);
}

int FIL_set_original_file_name(tag_t file, const char* name) {
    return call(
        "FIL_set_original_file_name",
        [&] {
            need(name, "name");
            Session& session = currentSession();
            session.set(fileObject(session, file), "original_file_name", {std::string(name)});
        },
        file, name);
}

int FIL_import_file(const char* path, const char* newName /*null*/, int fileType, tag_t* file,
                    int* fileDescriptor) {
    return call(
        "FIL_import_file",
        [&] {
            need(path, "path");
            need(file, "file");
            *file = importFile(currentSession(), path, newName ? newName : "", fileType).tag;
            // The file is closed already.
            if (fileDescriptor)
                *fileDescriptor = -1;
        },
        path, newName, fileType, file, fileDescriptor);
}

int FIL_export_file(tag_t file, const char* path) {
    return call(
        "FIL_export_file",
        [&] {
            need(path, "path");
            Session& session = currentSession();
            exportFile(session, fileObject(session, file), path);
        },
        file, path);
}

}  // extern "C"
