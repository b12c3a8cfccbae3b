#pragma once
// A printed form as a text.
#include <string>

#include "base/format.h"

std::string printed_as(const PrintedForm auto& value)
{
    std::string text(value.most_bytes(), '\0');
    text.resize(static_cast<size_t>(value.put(text.data()) - text.data()));
    return text;
}
