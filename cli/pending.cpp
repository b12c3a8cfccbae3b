// Stands in until the real one lands; weak, so that it wins.
void applevel_load();
[[gnu::weak]] void applevel_load() {}
