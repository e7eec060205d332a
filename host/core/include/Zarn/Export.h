#pragma once

// Marks what teklib2core exports; everything else stays hidden inside the library.
#define ZARN_CORE_API __attribute__((visibility("default")))
