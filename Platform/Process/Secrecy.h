#pragma once

#include <sys/mman.h>
#include <sys/prctl.h>
#include <sys/resource.h>

#include <algorithm>
#include <cstring>
#include <memory>
#include <new>
#include <string>
#include <string_view>

// For processes and memory that hold passwords. Without a part of its own in the library, so that small programs have
// it too.

namespace qrb {

/// Keeps the memory of this process, and of the programs that it starts, out of core files for good: its own whatever
/// else is set, theirs unless they raise their limit. To be called before the first secret arrives. Nobody but the
/// administrator can attach to the process afterwards. Any thread.
inline void forbidCoreFiles() {
  ::prctl(PR_SET_DUMPABLE, 0, 0, 0, 0);
  rlimit limit{};
  if (::getrlimit(RLIMIT_CORE, &limit) != 0) return;
  // Too little for any core file. A limit of 0 would not count where a program is fed with them.
  limit.rlim_cur = std::min<rlim_t>(limit.rlim_max, 1);
  ::setrlimit(RLIMIT_CORE, &limit);
}

/// Overwrites the text, and what its memory holds besides, and leaves it empty.
inline void wipe(std::string& text) {
  text.resize(text.capacity());
  ::explicit_bzero(text.data(), text.size());
  text.clear();
}

/// Wipes a text of the caller's however the caller's block is left.
class WipeAtEnd {
 public:
  explicit WipeAtEnd(std::string& text) : _text(text) {}
  ~WipeAtEnd() { wipe(_text); }
  WipeAtEnd(const WipeAtEnd&) = delete;
  WipeAtEnd& operator=(const WipeAtEnd&) = delete;

 private:
  std::string& _text;
};

/// A secret that is held for longer: in pages of its own that are not in core files and, where the system allows it,
/// not in swap space, and that are overwritten with the last copy. Copies share them.
class SecretText {
 public:
  SecretText() = default;
  /// The caller's text remains the caller's to wipe. Throws std::bad_alloc.
  explicit SecretText(std::string_view text) : _size(text.size()) {
    if (text.empty()) return;
    void* pages = ::mmap(nullptr, text.size(), PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (pages == MAP_FAILED) throw std::bad_alloc();
    std::size_t size = text.size();
    _bytes = std::shared_ptr<char>(static_cast<char*>(pages), [size](char* bytes) {
      ::explicit_bzero(bytes, size);
      ::munmap(bytes, size);
    });
    ::madvise(pages, size, MADV_DONTDUMP);
    ::mlock(pages, size);
    std::memcpy(pages, text.data(), size);
  }

  bool empty() const { return _size == 0; }
  /// Valid as long as this or a copy is.
  std::string_view view() const { return {_bytes.get(), _size}; }

 private:
  std::shared_ptr<char> _bytes;
  std::size_t _size = 0;
};

}  // namespace qrb
