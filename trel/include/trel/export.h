#pragma once

/// Marks what a shared object shows to others; everything else stays hidden.
#define TREL_EXPORT __attribute__((visibility("default")))
