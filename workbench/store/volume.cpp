#include "workbench/store/volume.h"

#include <cerrno>

#include "workbench/model/status.h"
#include "workbench/store/descriptor.h"
#include "workbench/system/system.h"

namespace mervane {

namespace {

int openRegular(const std::string& path) {
    const int descriptor = system::open(path, system::Open::Read);
    if (descriptor < 0)
        failOfFile(path, "can't be opened");
    if (!system::isRegular(descriptor)) {
        system::close(descriptor);
        throw Failure(kFileFailure, path + " is not a regular file");
    }
    return descriptor;
}

}  // namespace

Damage::Damage(const StoredFile& file, const std::string& what)
    : Failure(kFileFailure, "file of #" + std::to_string(file.tag) +
                                (file.name.empty() ? "" : " \"" + file.name + "\"") + " " + what) {
}

void ToldContents::compare(const StoredFile& file) {
    if (file.byte_size && *file.byte_size != size_)
        throw Damage(file, "has " + std::to_string(size_) + " bytes in the volume, " +
                               std::to_string(*file.byte_size) + " were stored");
    if (file.sha256 && *file.sha256 != sum_.hex())
        throw Damage(file, "has other contents in the volume than were stored");
}

FileFacts Volume::place(tag_t tag, const std::string& path) {
    const Descriptor in(openRegular(path));
    return take(tag, [&](const Receiver& receiver) {
        if (!readAll(in.get(), receiver))
            failOfFile(path, "can't be read");
    });
}

FileFacts Volume::placeBytes(tag_t tag, const std::string& bytes) {
    return take(tag, [&](const Receiver& receiver) { receiver(bytes.data(), bytes.size()); });
}

std::string Volume::read(const StoredFile& file) const {
    std::string bytes;
    tell(file, [&](const char* at, std::size_t size) { bytes.append(at, size); });
    return bytes;
}

void Volume::compare(const StoredFile& file) const {
    tell(file, [](const char*, std::size_t) {});
}

void Volume::writeTo(const StoredFile& file, const std::string& path) const {
    // Made with the first block, so what can't be read leaves nothing there.
    std::optional<Descriptor> out;
    const auto make = [&] {
        // Exclusive: neither an existing file nor a link at the path is ever followed.
        const int made = system::open(path, system::Open::WriteNew);
        if (made < 0)
            failOfFile(path, "can't be made");
        out.emplace(made);
    };
    try {
        tell(file, [&](const char* bytes, std::size_t size) {
            if (!out)
                make();
            writeAll(out->get(), bytes, size, path);
        });
        if (!out)
            make();
        if (!out->close())
            failOfFile(path, "can't be written");
    } catch (...) {
        if (out)
            system::removeFile(path);
        throw;
    }
}

std::vector<std::string> Volume::copyTo(Volume& copy, const std::vector<StoredFile>& files) const {
    std::vector<std::string> damaged;
    for (const StoredFile& file : files) {
        try {
            copy.take(file.tag, [&](const Receiver& receiver) { tell(file, receiver); });
        } catch (const Damage& damage) {
            damaged.emplace_back(damage.what());
        }
    }
    return damaged;
}

}  // namespace mervane
