#pragma once

/// Marks what the shared library shows to its users. Everything else is built hidden.
#define REGISTER_EXPORT [[gnu::visibility("default")]]
