#include "tests/support/refused_memory.h"

#include <cerrno>
#include <cstddef>
#include <cstdio>
#include <cstdlib>
#include <new>

#if defined(__SANITIZE_ADDRESS__)
#include <sanitizer/lsan_interface.h>
#endif

namespace {

constinit bool counting = false;
constinit bool in_platform = false;
constinit int refused = 0;
constinit int asked = 0;

bool mayAllocate() {
    return !counting || in_platform || ++asked != refused;
}

}  // namespace

namespace refused_memory {

// A leak because memory was refused doesn't count.
void start(int n) {
#if defined(__SANITIZE_ADDRESS__)
    __lsan_disable();
#endif
    asked = 0;
    refused = n;
    in_platform = false;
    counting = true;
}

int stop() {
    counting = false;
#if defined(__SANITIZE_ADDRESS__)
    __lsan_enable();
#endif
    return asked;
}

void enterPlatform() {
    in_platform = true;
}

void leavePlatform() {
    in_platform = false;
}

}  // namespace refused_memory

// The linker puts these in the places of the C library's own.
extern "C" {
void* __real_malloc(std::size_t size);
void* __wrap_malloc(std::size_t size);
void* __real_realloc(void* block, std::size_t size);
void* __wrap_realloc(void* block, std::size_t size);
FILE* __real_fdopen(int file, const char* mode);
FILE* __wrap_fdopen(int file, const char* mode);
int __real_pthread_atfork(void (*prepare)(), void (*parent)(), void (*child)());
int __wrap_pthread_atfork(void (*prepare)(), void (*parent)(), void (*child)());

void* __wrap_malloc(std::size_t size) {
    return mayAllocate() ? __real_malloc(size) : nullptr;
}

void* __wrap_realloc(void* block, std::size_t size) {
    return mayAllocate() ? __real_realloc(block, size) : nullptr;
}

FILE* __wrap_fdopen(int file, const char* mode) {
    return mayAllocate() ? __real_fdopen(file, mode) : nullptr;
}

int __wrap_pthread_atfork(void (*prepare)(), void (*parent)(), void (*child)()) {
    return mayAllocate() ? __real_pthread_atfork(prepare, parent, child) : ENOMEM;
}
}

void* operator new(std::size_t size) {
    if (!mayAllocate())
        throw std::bad_alloc();
    void* block = __real_malloc(size != 0 ? size : 1);
    if (block == nullptr)
        throw std::bad_alloc();
    return block;
}

void operator delete(void* block) noexcept {
    std::free(block);
}

void operator delete(void* block, std::size_t) noexcept {
    std::free(block);
}
