#pragma once

#include <sodium.h>

#include <string>

/// Overwrites a secret that is no longer needed, in a way that no compiler leaves out.
inline void Wipe(std::string& secret) {
  sodium_memzero(secret.data(), secret.size());
}
