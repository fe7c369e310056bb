#pragma once

#include <cstdint>

/// Which kinds of authentication a system accepts: a union of the bits below, one per strategy class. The numbers
/// travel between processes and are stored.
using QRBSourceControlAuthenticationTypes = std::uint64_t;

inline constexpr QRBSourceControlAuthenticationTypes QRBSourceControlAuthenticationTypeAnonymous = 1;
/// User name and password.
inline constexpr QRBSourceControlAuthenticationTypes QRBSourceControlAuthenticationTypeBasic = 2;
inline constexpr QRBSourceControlAuthenticationTypes QRBSourceControlAuthenticationTypeSSHKeys = 4;
