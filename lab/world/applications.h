#pragma once
// Which application a session belongs to. The table of applications is the dictionary library's.
#include "lab/dictionary/applications.h"

#include <string_view>

// The identifier of a named application, at compile time.
consteval uint16_t application_named(std::string_view name)
{
    for (const LabApplication& row : lab_applications)
        if (name == row.name)
            return row.id;
    throw "no such application";
}

// By server port, else by client port, for one transport protocol; lab_application_other otherwise.
uint16_t application_of(uint8_t protocol, uint16_t client_port, uint16_t server_port);
