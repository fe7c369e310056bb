#pragma once

#include <nlohmann/json.hpp>

#include "Output.h"

namespace host {

/// One value of the listings: keys in the order they were added.
using JSONValue = nlohmann::ordered_json;

/// One JSON array on the output, written element by element so that a reader gets the first before the last is known.
/// Text that is not UTF-8 is written with replacement characters.
class JSONArray {
 public:
  explicit JSONArray(Output& output) : _output(output) {}

  void add(const JSONValue& element);
  /// Ends the array; an empty one where nothing was added.
  void finish();
  /// Ends the array if it has begun, so that what was written stays readable when there will be no more.
  void finishIfBegun();

 private:
  Output& _output;
  bool _begun = false;
};

}  // namespace host
