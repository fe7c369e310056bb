#pragma once

/// Marks what the shared library shows to its users; everything else is hidden.
#if defined(QRB_BUILDING_LIBRARY)
#define QRB_EXPORT __attribute__((visibility("default")))
#else
#define QRB_EXPORT
#endif
