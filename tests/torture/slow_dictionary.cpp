// Stands in front of the lab's dictionary library, so that loading and unloading take long enough to be hit.
#include <ctime>

static void linger()
{
    const timespec some{0, 2'000'000};
    nanosleep(&some, nullptr);
}

[[gnu::constructor]] static void loading()
{
    linger();
}

[[gnu::destructor]] static void unloading()
{
    linger();
}
