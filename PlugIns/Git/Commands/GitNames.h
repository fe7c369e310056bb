#pragma once

#include <string>
#include <string_view>

#include "Error.h"
#include "QRBSourceControlForward.h"
#include "SharedString.h"
#include "URL.h"

// The names that hosts hand in, checked before git sees them: what git would read as an option, a pattern, a range, a
// command or another name is refused, and so is what git would refuse anyway, since it does so in many ways. All are
// pure functions; any thread.

/// Why the name cannot be that of a branch or tag without the folder of its kind ("feature/x"), as the end of a
/// sentence that begins with the name ("begins with “-”"). Empty: it can.
std::string_view gitBranchNameFault(std::string_view name);
/// Whether the text is the name of an object in full.
bool gitIsObjectName(std::string_view text);
/// What is wrong with the name of a remote.
std::string_view gitRemoteNameFault(std::string_view name);
/// What is wrong with the address of a repository. File, git, http, https and ssh URLs, user@server:path and absolute
/// paths are allowed, and nothing that names a program to run.
std::string_view gitAddressFault(std::string_view address);
/// What is wrong with a revision: git has to read it as one revision and as nothing else.
std::string_view gitRevisionFault(std::string_view revision);

/// Each answers no error for a name that can be used, else one that names it and says what is wrong with it: that the
/// location is not found (with the code of its kind), that the remote's name or the URL is invalid.
qrb::Error gitRefuseBranchName(const qrb::String& name);
qrb::Error gitRefuseTagName(const qrb::String& name);
qrb::Error gitRefuseRevision(const qrb::String& revision);
qrb::Error gitRefuseRemoteName(const qrb::String& name);
/// No password of the URL gets into the error.
qrb::Error gitRefuseURL(const qrb::URL& url);

/// Refuses a branch (by its remote's name, too), tag or revision with such a name. What pins a location is checked as
/// well. What git does not know is refused too: absent and unspecified locations, path locations, uncommitted work.
qrb::Error gitRefuseLocation(const QRBSourceControlRevisionLocationPtr& location);

/// The revision that pins a location; empty where none does. HEAD and BASE pin nothing: they are what there is.
std::string gitPinOf(const QRBSourceControlRevisionLocationPtr& location);
/// The location as git takes it: the revision that it is or that pins it ("BASE" as "HEAD"), else the full name of the
/// ref, which nothing else can be mistaken for ("refs/remotes/origin/main"). Empty for a location that names nothing.
std::string gitLocationName(const QRBSourceControlRevisionLocationPtr& location);
/// The full name of a branch, whatever pins it; empty for none.
std::string gitBranchRefName(const QRBSourceControlBranchPtr& branch);

/// The error that a location is not there, with the code and the name of its kind.
qrb::Error gitLocationNotFound(const QRBSourceControlRevisionLocationPtr& location, const qrb::String& message);
