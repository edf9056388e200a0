#include "tests/support/frame_platform.h"

#include <cstdlib>
#include <cstring>
#include <deque>

#include "platform/mv_err.h"
#include "platform/mv_heap.h"
#include "platform/mv_svcarg.h"

namespace {

std::deque<frame_platform::Argument> stream;
std::map<int, std::string> error_texts;
int live_blocks = 0;
bool fail_allocations = false;

char* heapCopy(const std::string& text) {
    auto* copy = static_cast<char*>(HEAP_alloc(text.size() + 1));
    if (copy != nullptr)
        std::memcpy(copy, text.c_str(), text.size() + 1);
    return copy;
}

}  // namespace

namespace frame_platform {

void sendArguments(std::vector<Argument> arguments) {
    stream.assign(arguments.begin(), arguments.end());
}
std::size_t argumentsLeft() {
    return stream.size();
}
void setErrorText(int status, const std::string& text) {
    error_texts[status] = text;
}
int liveBlocks() {
    return live_blocks;
}
void failAllocations(bool fail) {
    fail_allocations = fail;
}

}  // namespace frame_platform

int SVCARG_get_int_argument(int* value) {
    if (stream.empty() || !std::holds_alternative<int>(stream.front()))
        return frame_platform::read_failed;
    *value = std::get<int>(stream.front());
    stream.pop_front();
    return QSK_ok;
}

int SVCARG_get_string_argument(char** value) {
    if (stream.empty() || !std::holds_alternative<std::string>(stream.front()))
        return frame_platform::read_failed;
    // The services don't free these by contract: reachable, they are no leak.
    static auto* handed_out = new std::deque<char*>;
    *value = heapCopy(std::get<std::string>(stream.front()));
    handed_out->push_back(*value);
    stream.pop_front();
    return QSK_ok;
}

int ERR_ask_error_text(int number, char** text) {
    const auto found = error_texts.find(number);
    if (found == error_texts.end())
        return frame_platform::read_failed;
    *text = heapCopy(found->second);
    return QSK_ok;
}

void* HEAP_alloc(size_t size) {
    void* block = fail_allocations ? nullptr : std::malloc(size);
    if (block != nullptr)
        ++live_blocks;
    return block;
}

void HEAP_free(void* pointer) {
    if (pointer != nullptr)
        --live_blocks;
    std::free(pointer);
}
