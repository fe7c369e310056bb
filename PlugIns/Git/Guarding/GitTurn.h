#pragma once

#include <string>

#include "FileDescriptor.h"

/// The turn of one request to change a working copy, for as long as the object lives. Git's own lock covers one command
/// and not all of that: `commit` reads the staging area before it takes the lock, so that what another command stages
/// in between is lost.
///
/// Binds plug-ins only. Whoever has waited too long, or cannot wait, goes on without it.
class GitTurn {
 public:
  /// `folder` is the root of the working copy; `hostConnection` is as for ToolRunner.
  GitTurn(const std::string& folder, int hostConnection);

  /// What keeps the turn, for a process that takes it over; -1 where there is none.
  int descriptor() const { return _folder.get(); }

 private:
  qrb::FileDescriptor _folder;
};
