#pragma once
// Descriptions of single addresses, IPv4 and MAC, from "mac" lines.
#include "common/record_handler.h"

constexpr size_t address_text_room = 34;

int ipmacdesc_init(); // a new, empty table: 0, or -1 with a message
void ipmacdesc_release();
bool ipmacdesc_ready(); // the table was set up

// A "mac" line: m= or ip= (the address), d= (the description), pid= (the group).
void ipmacdesc_line(RequestRecord& carrier);

// Looks up an address of 4 or 6 bytes in wire order and copies its description: 0, or -1 when it has none.
int ipmacdesc_get(const void* address, size_t length, char (&out)[address_text_room]);
int ipmacdesc_get_mac(const uint8_t* mac, char (&out)[address_text_room]);
uint16_t ipmacdesc_group_of(const uint8_t* mac); // 0 when unknown

// Inserts or updates the description of a MAC address, group 0: 0, or -1 when the pool is exhausted.
int ipmacdesc_add_mac(const uint8_t* mac, const char* text);
