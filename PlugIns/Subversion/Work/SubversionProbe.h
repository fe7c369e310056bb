#pragma once

#include <optional>
#include <string>

/// What a folder's administrative data say at first sight, before the library reads them.
struct SubversionProbe {
  enum class Form {
    /// One the library can tell more of.
    current,
    /// Of the time when each folder had data of its own: it has to be upgraded.
    old,
  };
  Form form = Form::current;
  /// Of old forms: the address of the folder and of the repository's root, where they can be read.
  std::string url;
  std::string rootURL;

  /// None where the folder is no root of a working copy: ".svn" has to be a folder and what it holds files, since links
  /// could lead anywhere.
  static std::optional<SubversionProbe> of(const std::string& folder);
};
