#pragma once

#include <vector>

#include "Dictionary.h"
#include "GitDiffCommands.h"
#include "GitDiffParser.h"

/// The dictionary that a host gets for a comparison; Documentation/plug-ins.md has its layout. Takes the patches over.
qrb::Dictionary gitDiffDictionary(const GitDiffSide& from, const GitDiffSide& against,
                                  std::vector<GitDiffFile>&& files);
