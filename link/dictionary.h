#pragma once
// Application names from the daemons' dictionary library, loaded on first need.
#include "wire/request.h"

// Takes the user arrays out of the front of an answer, loading the library before if needed, and moves
// reply.answer_address past them. The answer begins at `base`, the segment's, and has `size` bytes. 0, or -1
// with code and text set in the reply.
int dictionary_take(RequestRecord& reply, const char* base, uint32_t size);

bool dictionary_loaded();
void dictionary_initialise(); // the library's own initialisation, when it is loaded
void dictionary_unload();
void dictionary_mark_synced();

// Names of an application; "undname" as long as nothing has loaded the library. Never null.
const char* application_name(uint32_t id);        // primary
const char* application_second_name(uint32_t id); // secondary

// These fetch the user arrays first when that has not been done.
int application_id_of(const char* name);                // -1 when unknown or empty
const char* application_entry_name(uint32_t id);        // null when unknown
const char* application_entry_second_name(uint32_t id); // null when unknown
