#pragma once

#include <string_view>
#include <unordered_map>
#include <vector>

#include "QRBSourceControlForward.h"
#include "TextIndex.h"

namespace qrb {

/// Gives each text once, so that the archive to the host sends a path or a name once however often it occurs.
class SharedTexts {
 public:
  /// Valid until the next call.
  const String& get(std::string_view text);

 private:
  std::vector<String> _texts;
  TextIndex _numbers;
};

/// Gives each author once, for the same reason.
class SharedAuthors {
 public:
  /// An empty e-mail address is none.
  const QRBSourceControlAuthorPtr& get(std::string_view name, std::string_view email);

 private:
  std::unordered_map<std::string, QRBSourceControlAuthorPtr> _authors;
  std::string _key;
};

}  // namespace qrb
