#pragma once

#include <string>

#include "Result.h"

namespace host {

/// Lets the user edit a text in the editor of his choice (VISUAL, EDITOR, else vi), which has the terminal meanwhile.
/// The file is the user's alone and is gone afterwards. That the editor failed is an error, too. Main thread, with the
/// program's stopping signals blocked.
qrb::Result<std::string> editText(const std::string& text);

/// What the user left of a message that was edited: without the lines that begin with "#", blanks at the ends of lines,
/// and empty lines at either end.
std::string editedMessage(const std::string& text);

}  // namespace host
