#pragma once
// The name of the dictionary library, and the sizes of the user dictionary arrays. They precede every answer
// that asks for them, so the dictionary library and the daemons must agree.
constexpr char lab_dictionary_library[] = "lab_dict.so";
constexpr int lab_user_protocols = 16;
constexpr int lab_user_groups = 8;
