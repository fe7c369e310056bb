#include "QRBSourceControlBranch.h"

#include "KeyedArchiver.h"
#include "KeyedUnarchiver.h"
#include "PathString.h"
#include "QRBSourceControlBranchAndTagLocations.h"
#include "QRBSourceControlDictionaryReadingPrivate.h"
#include "QRBSourceControlPathLocation.h"
#include "QRBSourceControlRevision.h"

QRB_DEFINE_OBJECT(QRBSourceControlBranch, QRBSourceControlRevisionLocation, "QRBSourceControlBranch",
                  &QRBSourceControlBranch::initWithCoder);

QRBSourceControlBranchPtr QRBSourceControlBranch::make(qrb::String name, std::uint64_t options,
                                                       qrb::String remoteName) {
  if (name.empty()) return nullptr;
  auto branch = std::make_shared<QRBSourceControlBranch>(Key());
  branch->_identifier = std::move(name);
  branch->_options = options;
  branch->_remoteName = std::move(remoteName);
  return branch;
}

QRBSourceControlBranchPtr QRBSourceControlBranch::initWithBranchName(qrb::String branchName, bool primaryBranch,
                                                                     bool remoteBranch) {
  return make(std::move(branchName),
              (primaryBranch ? QRBSourceControlBranchOptionPrimary : 0) |
                  (remoteBranch ? QRBSourceControlBranchOptionRemote : 0),
              nullptr);
}

QRBSourceControlBranchPtr QRBSourceControlBranch::initWithBranchNameRemoteName(qrb::String branchName,
                                                                               bool primaryBranch,
                                                                               qrb::String remoteName) {
  std::uint64_t options =
      (primaryBranch ? QRBSourceControlBranchOptionPrimary : 0) | (remoteName ? QRBSourceControlBranchOptionRemote : 0);
  return make(std::move(branchName), options, std::move(remoteName));
}

QRBSourceControlBranchPtr QRBSourceControlBranch::initWithNewBranchName(qrb::String branchName) {
  return make(std::move(branchName), QRBSourceControlBranchOptionNew, nullptr);
}

QRBSourceControlBranchPtr QRBSourceControlBranch::initWithNewBranchName(qrb::String branchName,
                                                                        qrb::String remoteName) {
  return make(std::move(branchName), QRBSourceControlBranchOptionNew | QRBSourceControlBranchOptionRemote,
              std::move(remoteName));
}

QRBSourceControlBranchPtr QRBSourceControlBranch::initWithBranchPathLocation(
    const QRBSourceControlPathLocationPtr& pathLocation,
    const QRBSourceControlBranchAndTagLocationsPtr& branchAndTagLocations, bool remoteBranch) {
  if (pathLocation == nullptr || branchAndTagLocations == nullptr) return nullptr;
  const auto& branches = branchAndTagLocations->relativeBranchesLocation();
  const auto& primary = branchAndTagLocations->relativePrimaryBranchLocation();
  if (branches == nullptr || primary == nullptr) return nullptr;
  if (pathLocation->isEqual(primary)) {
    return initWithBranchName(qrb::lastPathComponent(pathLocation->relativePath().view()), true, remoteBranch);
  }
  return initWithBranchName(pathLocation->nameBelow(branches), false, remoteBranch);
}

QRBSourceControlBranchPtr QRBSourceControlBranch::initWithDictionary(const qrb::Dictionary& dictionary) {
  qrb::String identifier = qrb::detail::stringForKey(dictionary, QRBSourceControlBranchIdentifierKey);
  if (!identifier) return nullptr;
  auto branch = std::make_shared<QRBSourceControlBranch>(Key());
  branch->readRevision(dictionary);
  branch->_identifier = std::move(identifier);
  branch->_options = qrb::detail::unsignedForKey(dictionary, QRBSourceControlBranchOptionsKey);
  return branch;
}

std::shared_ptr<QRBSourceControlRevisionLocation> QRBSourceControlBranch::mutableCopy() const {
  return std::make_shared<QRBSourceControlBranch>(*this);
}

QRBSourceControlPathLocationPtr QRBSourceControlBranch::pathLocationForBranchAndTagLocations(
    const QRBSourceControlBranchAndTagLocationsPtr& branchAndTagLocations) const {
  if (branchAndTagLocations == nullptr) return nullptr;
  if (isPrimaryBranch()) return branchAndTagLocations->relativePrimaryBranchLocation();
  const auto& branches = branchAndTagLocations->relativeBranchesLocation();
  return branches == nullptr ? nullptr : branches->pathLocationByAppendingPath(_identifier.view());
}

bool QRBSourceControlBranch::isSimilar(const QRBSourceControlRevisionLocationPtr& other) const {
  return other != nullptr && &other->classInfo() == &classInfo() &&
         static_cast<const QRBSourceControlBranch&>(*other)._identifier == _identifier;
}

qrb::Dictionary QRBSourceControlBranch::dictionaryRepresentationWithOptions(std::uint64_t options) const {
  auto dictionary = QRBSourceControlRevisionLocation::dictionaryRepresentationWithOptions(options);
  if ((options & QRBSourceControlDictionaryIncludesLocation) != 0) {
    dictionary[QRBSourceControlBranchIdentifierKey] = _identifier.str();
    dictionary[QRBSourceControlBranchOptionsKey] = _options;
  }
  return dictionary;
}

qrb::ImagePtr QRBSourceControlBranch::defaultImage() {
  static const auto& image =
      *new qrb::ImagePtr(std::make_shared<const qrb::Image>(qrb::Image{"QRBSourceControlBranchTemplate"}));
  return image;
}

std::size_t QRBSourceControlBranch::hash() const {
  return _identifier.hash() + _remoteName.hash() + _options;
}

bool QRBSourceControlBranch::isEqualToSameClass(const qrb::Object& other) const {
  const auto& branch = static_cast<const QRBSourceControlBranch&>(other);
  return _identifier == branch._identifier && isPrimaryBranch() == branch.isPrimaryBranch() &&
         isNewBranch() == branch.isNewBranch() && isRemoteBranch() == branch.isRemoteBranch() &&
         _remoteName == branch._remoteName;
}

std::shared_ptr<qrb::Object> QRBSourceControlBranch::initWithCoder(qrb::KeyedUnarchiver& coder) {
  auto branch = std::make_shared<QRBSourceControlBranch>(Key());
  branch->decodeRevision(coder);
  branch->_options = coder.decode<std::uint64_t>("options");
  branch->_identifier = coder.decode<qrb::String>("identifier");
  branch->_remoteName = coder.decode<qrb::String>("remoteName");
  return branch;
}

void QRBSourceControlBranch::encodeWithCoder(qrb::KeyedArchiver& coder) const {
  QRBSourceControlRevisionLocation::encodeWithCoder(coder);
  coder.encode("options", _options);
  coder.encode("identifier", _identifier);
  coder.encode("remoteName", _remoteName);
}
