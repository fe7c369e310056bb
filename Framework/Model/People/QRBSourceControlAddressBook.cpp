#include "QRBSourceControlAddressBook.h"

#include <utility>

#include "AtomicProperty.h"

namespace {

qrb::Atomic<std::shared_ptr<QRBSourceControlAddressBook>>& registeredAddressBook() {
  static auto& registered = *new qrb::Atomic<std::shared_ptr<QRBSourceControlAddressBook>>();
  return registered;
}

}  // namespace

void QRBSourceControlAddressBook::registerAddressBook(std::shared_ptr<QRBSourceControlAddressBook> addressBook) {
  registeredAddressBook().set(std::move(addressBook));
}

std::shared_ptr<QRBSourceControlAddressBook> QRBSourceControlAddressBook::sharedAddressBook() {
  return registeredAddressBook().get();
}
