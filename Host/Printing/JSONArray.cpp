#include "JSONArray.h"

namespace host {

void JSONArray::add(const JSONValue& element) {
  _output.write(_begun ? ",\n" : "[\n");
  _begun = true;
  _output.write(element.dump(-1, ' ', false, JSONValue::error_handler_t::replace));
}

void JSONArray::finish() {
  _output.write(_begun ? "\n]\n" : "[]\n");
}

void JSONArray::finishIfBegun() {
  if (_begun) finish();
}

}  // namespace host
