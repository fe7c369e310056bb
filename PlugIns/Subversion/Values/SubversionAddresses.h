#pragma once

#include <string>
#include <string_view>

#include "Error.h"
#include "URL.h"

/// What is wrong with the address of a repository: file, svn, svn+ssh, http and https are allowed, and nothing that
/// names a program to run. Empty: nothing. Pure.
std::string_view subversionAddressFault(std::string_view address);
/// No password of the URL gets into the error.
qrb::Error subversionRefuseURL(const qrb::URL& url);
/// The address without a password, as the library takes it; a path of this machine becomes one.
std::string subversionAddressOf(const qrb::URL& url);
