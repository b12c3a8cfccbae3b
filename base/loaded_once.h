#pragma once

// A number out of memory that somebody else may be writing to, loaded this once: what is checked is what is
// used. Otherwise the compiler may load it again for a later use.
template <class T> T loaded_once(T number)
{
    asm("" : "+r"(number));
    return number;
}
