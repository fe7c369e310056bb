#pragma once

#include <string_view>

// Spelled once, for the constants below that begin with it.
#define QRB_VENDOR_IDENTIFIER_PREFIX "org.qrb"

/// What the identifiers of services, plug-ins, error domains and progress keys begin with.
inline constexpr std::string_view kVendorIdentifierPrefix = QRB_VENDOR_IDENTIFIER_PREFIX;

/// Identifiers of the plug-ins that come with the library. Git is the system where none is known.
inline constexpr std::string_view QRBSourceControlGitPlugInIdentifier =
    QRB_VENDOR_IDENTIFIER_PREFIX ".Orlix.sourcecontrol.Git";
inline constexpr std::string_view QRBSourceControlSubversionPlugInIdentifier =
    QRB_VENDOR_IDENTIFIER_PREFIX ".Orlix.sourcecontrol.Subversion";
inline constexpr std::string_view QRBSourceControlLegacySubversionPlugInIdentifier =
    QRB_VENDOR_IDENTIFIER_PREFIX ".Orlix.sourcecontrol.Subversion.legacy";

/// Identifiers of the systems in files of the legacy format.
inline constexpr std::string_view QRBSourceControlLegacyGitIdentifier = "public.vcs.git";
inline constexpr std::string_view QRBSourceControlLegacySubversionIdentifier = "public.vcs.subversion";
