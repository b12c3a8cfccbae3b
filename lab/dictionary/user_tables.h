#pragma once
// Sizes of the user dictionary arrays. They precede every answer that asks for them, so the dictionary
// library and the daemons must agree.
constexpr int lab_user_protocols = 16;
constexpr int lab_user_groups = 8;
