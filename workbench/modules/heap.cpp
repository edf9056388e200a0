// HEAP_ and MV_: memory. These give no statuses, so neither the journal nor the fault plan counts
// them; a heap that runs dry is planned with Workbench::failHeapAfter.

#include "workbench/session/heap.h"
#include "platform/mv_heap.h"
#include "platform/mv_mv.h"

using namespace mervane;

extern "C" {

void* HEAP_alloc(size_t size) {
    return heap::allocate(size);
}

void* HEAP_realloc(void* pointer, size_t size) {
    return heap::reallocate(pointer, size);
}

void HEAP_free(void* pointer) {
    heap::release(pointer);
}

void MV_free_strings(char** strings) {
    if (!strings)
        return;
    for (char** each = strings; *each; ++each)
        heap::release(*each);
    heap::release(strings);
}

}  // extern "C"
