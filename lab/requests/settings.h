#pragma once
// Settings that operators give a module as key=value words, and show again with its stat.
#include "lab/requests/appliance.h"

// Takes every key=value word over. Refuses a request without one, and keys that `known` does not list
// (an empty list takes any).
bool change_settings(Appliance& appliance, Turn& turn, const std::string& module,
                     std::initializer_list<std::string_view> known = {});
void say_settings(const World& world, Turn& turn, const std::string& module); // " key=value" each
// The value of one, as a number; `otherwise` where it was never set.
uint32_t setting(const World& world, const std::string& module, const std::string& key, uint32_t otherwise);

// A module whose objects are known by words only: the handlers of its verbs over World::tasks.
void task_add(Appliance& appliance, Turn& turn, const std::string& module);
void task_change(Appliance& appliance, Turn& turn, const std::string& module);
void task_remove(Appliance& appliance, Turn& turn, const std::string& module);
void task_list(Appliance& appliance, Turn& turn, const std::string& module);
