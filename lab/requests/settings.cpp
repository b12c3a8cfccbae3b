#include "lab/requests/settings.h"

#include "lab/requests/listing.h"

constexpr uint32_t tasks_max = 1024;
constexpr size_t keys_max = 64, value_max = 255;

bool change_settings(Appliance& appliance, Turn& turn, const std::string& module,
                     std::initializer_list<std::string_view> known)
{
    auto& settings = appliance.world.settings[module];
    if (turn.values().empty())
        return turn.refuse(lab_error::invalid, "NO_ARGUMENT"), false;
    for (const auto& [key, value] : turn.values())
        if (known.size() != 0 && std::ranges::find(known, key) == known.end())
            return turn.refuse(lab_error::invalid, "INV_KEY " + key.substr(0, 64)), false;
    for (const auto& [key, value] : turn.values())
        if (settings.contains(key) || settings.size() < keys_max)
            settings[key] = value.substr(0, value_max);
    appliance.changed();
    return true;
}

void say_settings(const World& world, Turn& turn, const std::string& module)
{
    auto settings = world.settings.find(module);
    if (settings == world.settings.end())
        return;
    for (const auto& [key, value] : settings->second)
        turn.say(" %s=%s", key.c_str(), value.c_str());
}

uint32_t setting(const World& world, const std::string& module, const std::string& key, uint32_t otherwise)
{
    auto settings = world.settings.find(module);
    if (settings == world.settings.end() || !settings->second.contains(key))
        return otherwise;
    return static_cast<uint32_t>(strtoul(settings->second.at(key).c_str(), nullptr, 10));
}

static void take_values(Turn& turn, Task& task)
{
    for (const auto& [key, value] : turn.values())
        if (key != "id" && (task.values.contains(key) || task.values.size() < keys_max))
            task.values[key] = value.substr(0, value_max);
}

void task_add(Appliance& appliance, Turn& turn, const std::string& module)
{
    auto& tasks = appliance.world.tasks[module];
    if (turn.values().empty())
        return turn.refuse(lab_error::invalid, "NO_ARGUMENT");
    Task task{.id = id_to_add(turn, tasks, tasks_max), .values = {}};
    if (task.id == 0)
        return;
    take_values(turn, task);
    tasks.push_back(task);
    appliance.changed();
    turn.say("id=%u\n", task.id);
}

void task_change(Appliance& appliance, Turn& turn, const std::string& module)
{
    Task* task = item_asked_for(turn, appliance.world.tasks[module]);
    if (task == nullptr)
        return;
    take_values(turn, *task);
    appliance.changed();
}

void task_remove(Appliance& appliance, Turn& turn, const std::string& module)
{
    remove_items(turn, appliance.world.tasks[module]);
    appliance.changed();
}

void task_list(Appliance& appliance, Turn& turn, const std::string& module)
{
    uint32_t id = turn.number("id");
    say_page(
        turn, appliance.world.tasks[module], [&](const Task& task) { return id == 0 || task.id == id; },
        [&](const Task& task) {
            turn.say("id=%u", task.id);
            for (const auto& [key, value] : task.values)
                turn.say(" %s=%s", key.c_str(), value.c_str());
            turn.say("\n");
        });
}
