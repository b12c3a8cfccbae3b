// One case is compiled at a time: case 0 must compile, every other one must not.
#include "base/address.h"
#include "base/output.h"

struct [[gnu::packed]] Record {
    be16 port;
    be32 address;
    FixedText<8> name;
};

void print_case(const Record& r, const char* argument, double measure, bool flag)
{
#if REFUSED == 0
    print(FORMAT(R"({{"a":{},"b":"{}","c":"{}","d":"{}","e":{}}})"), r.port, r.name, Ipv4{r.address}, text_of(argument),
          Hundredths{measure});
#elif REFUSED == 1  // a wire text as a number
    print(FORMAT("{:d}"), r.name);
#elif REFUSED == 2  // a wire text with a width
    print(FORMAT("{:8}"), r.name);
#elif REFUSED == 3  // a network-order number in hexadecimal
    print(FORMAT("{:x}"), r.port);
#elif REFUSED == 4  // an address as a number
    print(FORMAT("{:d}"), Ipv4{r.address});
#elif REFUSED == 5  // a value too few
    print(FORMAT("{} {}"), r.port);
#elif REFUSED == 6  // a value too many
    print(FORMAT("{}"), r.port, r.name);
#elif REFUSED == 7  // a pointer without its wrapper
    print(FORMAT("{}"), argument);
#elif REFUSED == 8  // a floating-point number
    print(FORMAT("{}"), measure);
#elif REFUSED == 9  // a truth value
    print(FORMAT("{}"), flag);
#elif REFUSED == 10 // a lone brace
    print(FORMAT(R"({"a":{}})"), r.port);
#elif REFUSED == 11 // a conversion of old
    print("%s", argument);
#elif REFUSED == 12 // a 16-byte address as it lies in a record
    print(FORMAT("{}"), r);
#else
#error "no such case"
#endif
    (void)r, (void)argument, (void)measure, (void)flag;
}
