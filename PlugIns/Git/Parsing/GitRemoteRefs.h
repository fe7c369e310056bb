#pragma once

#include <string_view>
#include <vector>

/// The object name of a ref in what gitListRemoteCommand() printed; empty where it is not listed. Other refs whose
/// names end alike do not count. Pure; the view is into the text.
std::string_view gitHashOfRemoteRef(std::string_view output, std::string_view ref);

/// One ref of a remote; the views are into the text that it was read from.
struct GitRemoteRef {
  std::string_view hash;
  /// Without the folder.
  std::string_view name;
};
/// The refs in a folder ("refs/heads/"), in the order of the text. Lines of another form are passed over. Pure.
std::vector<GitRemoteRef> gitReadRemoteRefs(std::string_view output, std::string_view folder);
