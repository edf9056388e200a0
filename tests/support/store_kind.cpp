#include "tests/support/store_kind.h"

#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <stdexcept>

#include "tests/support/files.h"
#include "tests/support/server_schemas.h"

namespace keld_test {

bool onServer() {
    static const bool is_on = [] {
        const char* kind = std::getenv("KELD_TEST_STORE");
        if (!kind || !*kind)
            return false;
        if (std::string(kind) == "postgres")
            return true;
        throw std::runtime_error("KELD_TEST_STORE is \"" + std::string(kind) +
                                 "\", neither empty nor \"postgres\"");
    }();
    return is_on;
}

std::string serverAddress() {
    const char* address = std::getenv("KELD_TEST_SERVER");
    if (!address || !*address)
        throw std::runtime_error(
            "KELD_TEST_SERVER isn't set: run the tests by scripts/test, or this one by "
            "scripts/with-store-server");
    return address;
}

namespace {

std::string ofSchema(const std::string& schema) {
    const std::string server = serverAddress();
    return server + (server.find('?') == std::string::npos ? "?" : "&") + "schema=" + schema;
}

// A part of a schema's name that says all of the text.
std::string digest(const std::string& text) {
    std::uint64_t sum = 14695981039346656037u;
    for (const char byte : text)
        sum = (sum ^ static_cast<unsigned char>(byte)) * 1099511628211u;
    std::string digits;
    for (; sum != 0; sum /= 16)
        digits += "0123456789abcdef"[sum % 16];
    return digits;
}

}  // namespace

std::string storeIn(const std::string& directory, const std::string& name) {
    const std::string path = (std::filesystem::path(directory) / name).string();
    if (!onServer())
        return path;
    const std::string schema = "s_" + digest(path);
    dropWithProcess(schema);
    return ofSchema(schema);
}

std::string freshServerStore() {
    return ofSchema(newSchema());
}

std::string freshVolume() {
    const char* volume = std::getenv("KELD_TEST_VOLUME");
    if (!volume || !*volume)
        return "";
    if (!onServer() || std::string(volume) != "directory")
        throw std::runtime_error("KELD_TEST_VOLUME is \"" + std::string(volume) +
                                 "\": it is for a store on the server, and \"directory\" then");
    static const Directory directory;
    static int count = 0;
    return directory.at(std::to_string(++count));
}

std::string freshStore() {
    return onServer() ? freshServerStore() : ":memory:";
}

}  // namespace keld_test
