#pragma once

#include <sys/mman.h>

#include <cstddef>
#include <new>

namespace qrb {

/// Takes large blocks from the system and gives them back to it at once. For a table that grows with a transfer and
/// goes with it: the general allocator would keep its memory for later, in a host that may not need so much for hours.
template <class T>
struct PageAllocator {
  using value_type = T;

  PageAllocator() noexcept = default;
  template <class U>
  PageAllocator(const PageAllocator<U>&) noexcept {}

  T* allocate(std::size_t count) {
    std::size_t size = count * sizeof(T);
    if (size < kLeastSize) return static_cast<T*>(::operator new(size));
    void* block = ::mmap(nullptr, size, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (block == MAP_FAILED) throw std::bad_alloc();
    return static_cast<T*>(block);
  }
  void deallocate(T* block, std::size_t count) noexcept {
    std::size_t size = count * sizeof(T);
    if (size < kLeastSize) {
      ::operator delete(block);
    } else {
      ::munmap(block, size);
    }
  }

  template <class U>
  friend bool operator==(const PageAllocator&, const PageAllocator<U>&) noexcept {
    return true;
  }

 private:
  static constexpr std::size_t kLeastSize = std::size_t{64} << 10;
};

}  // namespace qrb
