#include "LocationPrinting.h"

#include "QRBSourceControlBranch.h"
#include "QRBSourceControlPathLocation.h"
#include "QRBSourceControlRevision.h"
#include "QRBSourceControlTag.h"
#include "Text.h"

namespace host {

namespace {

constexpr std::string_view kRevisionKind = "revision";

std::string_view kindOf(const QRBSourceControlRevisionLocation& location) {
  if (dynamic_cast<const QRBSourceControlBranch*>(&location) != nullptr) return "branch";
  if (dynamic_cast<const QRBSourceControlTag*>(&location) != nullptr) return "tag";
  if (dynamic_cast<const QRBSourceControlPathLocation*>(&location) != nullptr) return "path";
  return kRevisionKind;
}

}  // namespace

std::string describedLocation(const QRBSourceControlRevisionLocationPtr& location, bool withPin) {
  if (location == nullptr) return "nowhere";
  std::string_view kind = kindOf(*location);
  std::string text = std::string(kind) + " " + displayText(location->displayName().view());
  if (withPin && kind != kRevisionKind && location->revision()) text += " at " + shortRevision(location->revision());
  return text;
}

JSONValue jsonOfLocation(const QRBSourceControlRevisionLocationPtr& location, bool withPin) {
  JSONValue entry;
  if (location == nullptr) return entry;
  entry["kind"] = kindOf(*location);
  setPath(entry, "name", location->displayName().view());
  if (withPin && location->revision()) entry["revision"] = location->revision()->identifier().view();
  return entry;
}

std::string shortRevision(const QRBSourceControlRevisionPtr& revision) {
  constexpr std::size_t kEnough = 10;
  constexpr std::size_t kShortestHash = 40;
  if (revision == nullptr) return "none";
  std::string_view identifier = revision->identifier().view();
  return displayText(identifier.size() < kShortestHash ? identifier : identifier.substr(0, kEnough));
}

bool isBranch(const QRBSourceControlRevisionLocationPtr& location) {
  return dynamic_cast<const QRBSourceControlBranch*>(location.get()) != nullptr;
}

bool isRevisionAlone(const QRBSourceControlRevisionLocationPtr& location) {
  return location != nullptr && &location->classInfo() == &QRBSourceControlRevisionLocation::staticClass();
}

bool isSameLocation(const QRBSourceControlRevisionLocationPtr& a, const QRBSourceControlRevisionLocationPtr& b) {
  if (a == nullptr || b == nullptr) return a == b;
  return isBranch(a) && isBranch(b) ? a->isSimilar(b) : a->isEqual(b);
}

}  // namespace host
