#pragma once
// The user-defined protocols and groups as they precede an answer that asks for the dictionary.
#include <string_view>

std::string_view user_dictionary(); // the protocol array, then the group array
