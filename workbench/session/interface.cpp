#include "workbench/session/interface.h"

#include <cstdlib>
#include <cstring>
#include <new>

#include "workbench/session/error_stack.h"
#include "workbench/session/heap.h"
#include "workbench/session/journal.h"

namespace mervane {

// ---- the wrapper ----

namespace detail {

int failed(const char* operation, int status, const char* text) {
    // That a preference isn't set is an answer, not an error.
    if (status == kNoPreference)
        return status;
    try {
        std::string told = text ? text : "";
        // A failure without a text of its own comes with the operation as text, which is said once.
        if (told != operation)
            told += " (" + std::string(operation) + ")";
        errorStack().push(ERR_severity_error, status, told);
    } catch (...) {
        // No memory for the text; the status still tells.
    }
    // A failure never looks like success.
    return status ? status : kInternal;
}

int failedUnknown(const char* operation) {
    try {
        throw;
    } catch (const std::bad_alloc&) {
        return failed(operation, kNoMemory, operation);
    } catch (const std::exception& error) {
        try {
            return failed(operation, kInternal, error.what());
        } catch (...) {
            return kNoMemory;
        }
    } catch (...) {
        return failed(operation, kInternal, operation);
    }
}

}  // namespace detail

void need(const void* pointer, const char* name) {
    if (!pointer)
        throw Failure(kNullArgument, name);
}

// ---- handing memory out ----

void* allocate(std::size_t size) {
    void* block = heap::allocate(size);
    if (!block)
        throw Failure(kNoMemory, std::to_string(size) + " bytes");
    return block;
}

char* copyText(const std::string& text) {
    auto* copy = static_cast<char*>(allocate(text.size() + 1));
    std::memcpy(copy, text.c_str(), text.size() + 1);
    return copy;
}

tag_t* copyTags(const std::vector<tag_t>& tags) {
    if (tags.empty())
        return nullptr;
    auto* copy = static_cast<tag_t*>(allocate(tags.size() * sizeof(tag_t)));
    std::memcpy(copy, tags.data(), tags.size() * sizeof(tag_t));
    return copy;
}

char** copyTexts(const std::vector<std::string>& texts) {
    if (texts.empty())
        return nullptr;
    auto** list = static_cast<char**>(allocate((texts.size() + 1) * sizeof(char*)));
    std::size_t done = 0;
    try {
        for (; done < texts.size(); ++done)
            list[done] = copyText(texts[done]);
    } catch (...) {
        while (done > 0)
            heap::release(list[--done]);
        heap::release(list);
        throw;
    }
    list[texts.size()] = nullptr;
    return list;
}

void copyInto(char* buffer, std::size_t size, const std::string& text, const char* what) {
    if (text.size() >= size)
        throw Failure(kTooLong, std::string(what) + " has " + std::to_string(text.size()) +
                                    " characters, the buffer takes " + std::to_string(size - 1));
    std::memcpy(buffer, text.c_str(), text.size() + 1);
}

}  // namespace mervane
