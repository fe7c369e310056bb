#pragma once

#include <chrono>

namespace host {

/// Waits until what the tools of plug-ins have left running has ended and reaps it: the other side of a clone that git
/// has given up, for example, is about to end but has not yet. Whoever leads a session of its own stays by intention
/// and is not waited for, nor is anybody longer than the limit. For a process that orphans are given to
/// (PR_SET_CHILD_SUBREAPER) and that has no other children any more.
void awaitOrphans(std::chrono::milliseconds limit);

}  // namespace host
