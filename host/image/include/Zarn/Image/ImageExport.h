#pragma once

// Marks what teklib2image exports; everything else stays hidden inside the library.
#define ZARN_IMAGE_API __attribute__((visibility("default")))
