#pragma once

#include <string>

#include "JSONArray.h"
#include "QRBSourceControlForward.h"

namespace host {

/// What kind of location it is (branch, tag, path or revision) and its name, as one may read it; with the beginning of
/// the revision that pins it where that is wanted. "nowhere" for null.
std::string describedLocation(const QRBSourceControlRevisionLocationPtr& location, bool withPin = true);

/// Kind and name, and the whole revision where one pins it; null for null.
JSONValue jsonOfLocation(const QRBSourceControlRevisionLocationPtr& location, bool withPin = false);

/// As much of a revision as tells it from others, for people.
std::string shortRevision(const QRBSourceControlRevisionPtr& revision);

/// Whether it is a branch; and whether it is a revision and nothing that has a name. Not so for null.
bool isBranch(const QRBSourceControlRevisionLocationPtr& location);
bool isRevisionAlone(const QRBSourceControlRevisionLocationPtr& location);

/// Whether both are the same line of history, whatever pins them: a branch here is the one of a remote of that name.
bool isSameLocation(const QRBSourceControlRevisionLocationPtr& a, const QRBSourceControlRevisionLocationPtr& b);

}  // namespace host
