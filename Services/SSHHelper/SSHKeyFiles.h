#pragma once

#include <optional>
#include <string>

#include "Result.h"
#include "SSHPublicKey.h"
#include "SharedString.h"
#include "URL.h"

/// Key pairs on disk, worked on by ssh's own tool. Each function runs it and returns when it is done; any thread.

/// No error for a private key that only its owner can read and write, with its public key beside it, named like it with
/// the extension "pub". A passphrase is not needed: of a protected key in an older format, whose inside nobody can see
/// without it, no more is told than that it is one.
qrb::Error validateSSHKeyPair(const qrb::URL& privateKey);

/// Makes id_rsa and id_rsa.pub in the folder, for the user's eyes only; the folder is made when it is missing. Both
/// files appear complete and nothing there is ever overwritten. RSA, since every server takes it and the names under
/// which default keys are looked for know it. An absent or empty passphrase leaves the key unprotected.
/// The value is the private key's URL.
qrb::Result<qrb::URL> generateSSHKeyPair(const qrb::String& passphrase, const qrb::String& comment,
                                         const qrb::URL& folder);

/// The text of the public key in the folder, one line, of the default names first; absent when there is none.
std::optional<std::string> publicSSHKeyInFolder(const std::string& folder);
