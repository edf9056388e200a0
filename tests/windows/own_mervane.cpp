// A test's own platform module: memory and the argument stream are real, every other function of
// the list is made by the build and gives the status that the test wants. The functions that a
// platform may lack are not in it.

#include "tests/windows/own_mervane.h"

#include <cstdlib>
#include <cstring>
#include <deque>
#include <string>

#include "platform/mv_heap.h"
#include "platform/mv_svcarg.h"

namespace {

// Never destroyed: the library may call as long as the process lives.
struct Own {
    std::deque<std::string> texts;
    std::deque<int> numbers;
    std::string calls;
    std::string shown;
    int answer = 0;
    int blocks = 0;
};

Own& own() {
    static Own& made = *new Own;
    return made;
}

}  // namespace

// Called by the functions that the build makes.
extern "C" int own_stub(const char* name);

extern "C" int own_stub(const char* name) {
    own().calls += std::string(name) + " ";
    return own().answer;
}

void* HEAP_alloc(size_t size) {
    ++own().blocks;
    return std::malloc(size);
}

void HEAP_free(void* pointer) {
    if (pointer != nullptr)
        --own().blocks;
    std::free(pointer);
}

int SVCARG_get_string_argument(char** value) {
    const int status = own_stub("SVCARG_get_string_argument");
    if (status != 0 || own().texts.empty())
        return status != 0 ? status : 1;
    const std::string text = own().texts.front();
    own().texts.pop_front();
    *value = static_cast<char*>(HEAP_alloc(text.size() + 1));
    std::memcpy(*value, text.c_str(), text.size() + 1);
    return 0;
}

int SVCARG_get_int_argument(int* value) {
    const int status = own_stub("SVCARG_get_int_argument");
    if (status != 0 || own().numbers.empty())
        return status != 0 ? status : 1;
    *value = own().numbers.front();
    own().numbers.pop_front();
    return 0;
}

void own_send_text(const char* text) {
    own().texts.emplace_back(text);
}

void own_send_int(int number) {
    own().numbers.push_back(number);
}

void own_answer(int status) {
    own().answer = status;
}

const char* own_calls(void) {
    own().shown.swap(own().calls);
    own().calls.clear();
    return own().shown.c_str();
}

int own_blocks(void) {
    return own().blocks;
}
