#pragma once

#include <optional>
#include <string>

#include "Guard.h"

/// A folder for the library's temporary files, which goes with this object, or with the process where that is killed.
/// The library finds it by the environment, so there is one at a time.
class SubversionScratch {
 public:
  explicit SubversionScratch(qrb::Guard& guard);
  ~SubversionScratch();
  SubversionScratch(const SubversionScratch&) = delete;
  SubversionScratch& operator=(const SubversionScratch&) = delete;

  /// Empty where none could be made: the library then takes the folder that everybody takes.
  const std::string& path() const { return _path; }

 private:
  std::optional<qrb::Guard::Standing> _removal;
  std::string _path;
  std::optional<std::string> _before;
};
