#pragma once

/// Marks what the shared library shows to its users; everything else is hidden. Those who build the
/// library and those who include its headers see one definition: a class's type information must be one on both sides,
/// whatever visibility a host compiles with.
#define QRB_EXPORT __attribute__((visibility("default")))
