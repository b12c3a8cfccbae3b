// Stands in until the real ones land; weak, so that they win.
#include <arpa/inet.h>
#include <cstdint>
uint32_t ipv4_or_zero(const char* text);
void applevel_load();
[[gnu::weak]] uint32_t ipv4_or_zero(const char* text)
{
    return ntohl(inet_addr(text));
}
[[gnu::weak]] void applevel_load() {}
