#pragma once
// What this build is.

// "1.2.3", as the file VERSION has it.
extern const char build_version[];
// Which key the vendor database has: "development", the tree's default, or "own".
extern const char build_vendor_key[];
