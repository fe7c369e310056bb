#include "QRBSourceControlVCardAddressBook.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <filesystem>
#include <map>
#include <mutex>
#include <optional>
#include <tuple>
#include <unordered_map>
#include <utility>

#include "FileDescriptor.h"
#include "FileSystem.h"
#include "Localization.h"
#include "QRBSourceControlAuthor.h"
#include "QRBSourceControlError.h"
#include "UnicodeText.h"
#include "VCardParserPrivate.h"

namespace {

namespace fs = std::filesystem;
using Person = QRBSourceControlPerson;
using PersonPtr = QRBSourceControlPersonPtr;
using Notification = QRBSourceControlAddressBookNotification;

// Cards carry pictures, but nobody's address book is larger than this; something else was put there by mistake.
constexpr std::size_t kLargestFile = 64 << 20;

// What a file looked like when it was read. Another file in its place, and any writing to it, changes one of these.
struct Stamp {
  dev_t device = 0;
  ino_t inode = 0;
  off_t size = 0;
  timespec modified{};
  timespec changed{};

  static Stamp of(const struct stat& status) {
    return {status.st_dev, status.st_ino, status.st_size, status.st_mtim, status.st_ctim};
  }
  friend bool operator==(const Stamp& a, const Stamp& b) {
    auto same = [](const timespec& x, const timespec& y) { return x.tv_sec == y.tv_sec && x.tv_nsec == y.tv_nsec; };
    return a.device == b.device && a.inode == b.inode && a.size == b.size && same(a.modified, b.modified) &&
           same(a.changed, b.changed);
  }
};

struct File {
  // Absent where it could not be read, so that the next time tries again.
  std::optional<Stamp> stamp;
  std::vector<PersonPtr> people;
  std::vector<std::string> problems;
};
// In the order of their names.
using Files = std::map<std::string, File>;
using People = std::map<std::string, PersonPtr>;

bool isSame(const Person& a, const Person& b) {
  auto parts = [](const Person& person) {
    return std::tie(person.flags, person.nickname, person.firstName, person.lastName, person.organization,
                    person.emails);
  };
  return parts(a) == parts(b);
}

bool hasName(const Person& person) {
  bool asOrganization = (person.flags & Person::kShowAsMask) != 0;
  return asOrganization ? !person.organization.empty() : !person.nickname.empty() || !person.firstName.empty();
}

File parsed(const std::string& name, const std::string& bytes) {
  qrb::VCardFile cards = qrb::parseVCards(bytes);
  File file;
  std::size_t place = 0;
  for (Person& person : cards.people) {
    ++place;
    if (person.uniqueId.empty()) person.uniqueId = name + "#" + std::to_string(place);
    file.people.push_back(std::make_shared<const Person>(std::move(person)));
  }
  for (const qrb::VCardProblem& problem : cards.problems) {
    file.problems.push_back(name + ":" + std::to_string(problem.line) + ": " + problem.text);
  }
  return file;
}

// The file as it is now, or as it was read the last time when it is the same.
File readFile(const fs::path& path, const File* before) {
  std::string name = path.filename().native();
  auto unreadable = [&] {
    File file;
    file.problems.push_back(name + ": " + std::strerror(errno));
    return file;
  };
  // Whatever else has such a name (a pipe, say) must not make us wait.
  qrb::FileDescriptor descriptor(::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
  struct stat status {};
  if (!descriptor.valid() || ::fstat(descriptor.get(), &status) != 0) return unreadable();
  if (!S_ISREG(status.st_mode)) {
    errno = EINVAL;
    return unreadable();
  }
  Stamp stamp = Stamp::of(status);
  if (before != nullptr && before->stamp == stamp) return *before;
  auto bytes = qrb::readToEnd(descriptor.get(), kLargestFile);
  if (!bytes) return unreadable();
  File file = parsed(name, *bytes);
  file.stamp = stamp;
  return file;
}

std::shared_ptr<const Notification> difference(const People& before, const People& after) {
  auto notification = std::make_shared<Notification>();
  for (const auto& [uniqueId, person] : after) {
    auto old = before.find(uniqueId);
    if (old == before.end()) {
      notification->insertedRecords.emplace_back(uniqueId);
    } else if (!isSame(*old->second, *person)) {
      notification->updatedRecords.emplace_back(uniqueId);
    }
  }
  for (const auto& entry : before) {
    if (!after.contains(entry.first)) notification->deletedRecords.emplace_back(entry.first);
  }
  bool isEmpty = notification->insertedRecords.empty() && notification->updatedRecords.empty() &&
                 notification->deletedRecords.empty();
  return isEmpty ? nullptr : notification;
}

}  // namespace

struct QRBSourceControlVCardAddressBook::Contents {
  // One reload at a time; never held while another lock is waited for but the next.
  std::mutex reloading;
  mutable std::mutex mutex;
  Files files;
  People people;
  std::unordered_map<std::string, PersonPtr> byEmail;
  std::vector<std::string> problems;

  void index() {
    people.clear();
    byEmail.clear();
    problems.clear();
    for (const auto& [name, file] : files) {
      problems.insert(problems.end(), file.problems.begin(), file.problems.end());
      for (const PersonPtr& person : file.people) {
        if (!people.emplace(person->uniqueId.str(), person).second) {
          problems.push_back(name + ": there is another card with the UID \"" + person->uniqueId.str() + "\"");
          continue;
        }
        for (const qrb::String& email : person->emails) byEmail.emplace(qrb::lowercased(email.view()), person);
      }
    }
  }
};

QRBSourceControlVCardAddressBook::QRBSourceControlVCardAddressBook(Key, qrb::URL folderURL)
    : _folderURL(std::move(folderURL)), _contents(std::make_unique<Contents>()) {}

QRBSourceControlVCardAddressBook::~QRBSourceControlVCardAddressBook() = default;

QRBSourceControlVCardAddressBookPtr QRBSourceControlVCardAddressBook::initWithFolderURL(qrb::URL folderURL) {
  return std::make_shared<QRBSourceControlVCardAddressBook>(Key(), std::move(folderURL));
}

qrb::Error QRBSourceControlVCardAddressBook::reload() {
  std::unique_lock reloading(_contents->reloading);
  std::error_code failure;
  Files files;
  fs::directory_iterator entry(_folderURL.path().str(), failure);
  for (; !failure && entry != fs::directory_iterator(); entry.increment(failure)) {
    const fs::path& path = entry->path();
    if (qrb::lowercased(path.extension().native()) != ".vcf") continue;
    // Only a reload writes the files, so no lock is needed to read them here.
    auto before = _contents->files.find(path.filename().native());
    files[path.filename().native()] = readFile(path, before == _contents->files.end() ? nullptr : &before->second);
  }
  if (failure) {
    std::string text = qrb::format(qrb::localized("The address book \"%@\" could not be read: %@."),
                                   {_folderURL.path(), failure.message()});
    return qrb::Error(qrb::kGeneralErrorDomain, failure.value(), {{qrb::kErrorLocalizedDescriptionKey, text}});
  }
  std::shared_ptr<const Notification> changes;
  {
    std::lock_guard lock(_contents->mutex);
    People before = _contents->people;
    _contents->files = std::move(files);
    _contents->index();
    changes = difference(before, _contents->people);
  }
  reloading.unlock();
  if (changes != nullptr) _observers.notify(changes);
  return {};
}

std::vector<std::string> QRBSourceControlVCardAddressBook::problems() const {
  std::lock_guard lock(_contents->mutex);
  return _contents->problems;
}

QRBSourceControlPersonPtr QRBSourceControlVCardAddressBook::personForUniqueId(const qrb::String& uniqueId) {
  std::lock_guard lock(_contents->mutex);
  auto found = _contents->people.find(uniqueId.str());
  return found == _contents->people.end() ? nullptr : found->second;
}

QRBSourceControlPersonPtr QRBSourceControlVCardAddressBook::personForEmail(const qrb::String& email) const {
  std::lock_guard lock(_contents->mutex);
  auto found = _contents->byEmail.find(qrb::lowercased(email.view()));
  return found == _contents->byEmail.end() ? nullptr : found->second;
}

bool QRBSourceControlVCardAddressBook::pairAuthor(const QRBSourceControlAuthorPtr& author) const {
  if (author == nullptr) return false;
  if (author->pairedPerson() != nullptr) return true;
  for (const qrb::String& email : author->emails()) {
    PersonPtr person = personForEmail(email);
    if (person == nullptr || !hasName(*person)) continue;
    author->setPairedPerson(std::move(person));
    return true;
  }
  return false;
}

qrb::ObserverToken QRBSourceControlVCardAddressBook::observeChanges(NotificationBlock block) {
  return _observers.observe(std::move(block));
}
