#include "Support/AllocationCounter.hpp"

#include <cstdlib>
#include <new>

namespace {

thread_local std::uint64_t count = 0;

void* allocate(std::size_t size) {
    ++count;
    if (void* memory = std::malloc(size)) return memory;
    throw std::bad_alloc();
}

}  // namespace

std::uint64_t support::allocations() { return count; }

void* operator new(std::size_t size) { return allocate(size); }
void* operator new[](std::size_t size) { return allocate(size); }
void operator delete(void* memory) noexcept { std::free(memory); }
void operator delete[](void* memory) noexcept { std::free(memory); }
void operator delete(void* memory, std::size_t) noexcept { std::free(memory); }
void operator delete[](void* memory, std::size_t) noexcept { std::free(memory); }
