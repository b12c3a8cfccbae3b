#pragma once
// Whether a text is what it claims to be.
#include <string_view>

// One JSON object and nothing else but white space around it: UTF-8, no member twice at any level, every
// surrogate paired, at most 100 levels.
bool is_json_object(std::string_view text);
