#include "SharedTexts.h"

#include "QRBSourceControlAuthor.h"

namespace qrb {

const String& SharedTexts::get(std::string_view text) {
  auto known = _numbers.find(text, [this](std::uint32_t number) { return _texts[number].view(); });
  if (known) return _texts[*known];
  _numbers.insert(text);
  return _texts.emplace_back(text);
}

const QRBSourceControlAuthorPtr& SharedAuthors::get(std::string_view name, std::string_view email) {
  _key.assign(name).push_back('\0');
  _key.append(email);
  QRBSourceControlAuthorPtr& author = _authors[_key];
  if (!author) author = QRBSourceControlAuthor::initWithUsername(name, email);
  return author;
}

}  // namespace qrb
