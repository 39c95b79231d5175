// The driven program's large allocations, which fail when the test wants it (run_control.h). Not
// part of a program that a sanitizer checks, which has an allocator of its own.

#include <cerrno>
#include <cstdlib>
#include <new>

#include "tests/faults/driven_program.h"

extern "C" {
void* __real_malloc(std::size_t size); // NOLINT(bugprone-reserved-identifier): the linker's name
void* __wrap_malloc(std::size_t size); // NOLINT(bugprone-reserved-identifier)
}

namespace {

bool mustFail(std::size_t size) {
    testing_support::RunControl* const control = runControl();
    if (control == nullptr || control->allocationSize == 0 || size < control->allocationSize) {
        return false;
    }
    if (!control->allAllocationsFail && --control->allocationsLeft != 0) {
        return false;
    }
    ++control->failedAllocations;
    return true;
}

} // namespace

extern "C" void* __wrap_malloc(std::size_t size) {
    if (mustFail(size)) {
        errno = ENOMEM;
        return nullptr;
    }
    return __real_malloc(size);
}

void* operator new(std::size_t size) {
    void* const memory = mustFail(size) ? nullptr : __real_malloc(size == 0 ? 1 : size);
    if (memory == nullptr) {
        throw std::bad_alloc();
    }
    return memory;
}

void* operator new[](std::size_t size) {
    return operator new(size);
}

void operator delete(void* memory) noexcept {
    std::free(memory);
}

void operator delete[](void* memory) noexcept {
    std::free(memory);
}

void operator delete(void* memory, std::size_t /*size*/) noexcept {
    std::free(memory);
}

void operator delete[](void* memory, std::size_t /*size*/) noexcept {
    std::free(memory);
}
