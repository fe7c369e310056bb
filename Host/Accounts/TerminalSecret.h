#pragma once

#include <string>

#include "Result.h"

namespace host {

/// Whether there is a terminal on which the user can be asked, wherever input and output go.
bool canAskForSecret();
/// Whether somebody sits there who expects to be asked: input and error messages are a terminal's, too.
bool canAskUser();

// A secret is put into the caller's string, which he wipes: a value handed on would leave copies behind.

/// Asks on the terminal and does not show what is typed. With an error (no terminal; the user interrupted, which is a
/// cancellation) the secret stays as it was. Main thread, with the program's stopping signals blocked.
qrb::Error askForSecret(const std::string& prompt, std::string& secret);
/// Asks for what may be seen; blanks around it are dropped.
qrb::Result<std::string> askForLine(const std::string& prompt);

/// The first line of standard input, without its end, for those who say that it comes from there. A terminal is
/// refused, since it would show what is typed.
qrb::Error readSecretFromInput(std::string& secret);

}  // namespace host
