#pragma once

/// What stands between a repository and the machine while a request only looks at it. Each holds without the other;
/// tests switch one off to show it, everybody else has both.
struct GitProtections {
  /// What the repository's configuration names is found before git runs and taken back.
  bool guard = true;
  /// The process gives up, for itself and all below it, what looking does not need.
  bool sandbox = true;
};
