#pragma once
// The one link of a run to one daemon: a shared segment that we create and the daemon fills, and a control
// socket over which a request record goes out and comes back. The state is process-wide; the signal handlers
// close it.
#include "wire/request.h"

// Opens the session: connects, creates and attaches a segment of `size` bytes (at least 4096). The segment is
// marked for removal as soon as it is attached, so that it ends with the last process that holds it.
// 0, or -1 with the message printed.
int rpc_init(const char* path, size_t size);

// Sends `record` and replaces it by the reply. Data outside the segment is copied to its start before; data
// longer than the segment is error 5 with the text "ARG_TOO_LONG", and nothing is sent. Returns the reply's
// error code (0 is success; the text is in record.text), or -1 without a segment or when the dictionary
// cannot be used. Reconnects to `path` unless the socket of rpc_init is still open. Nothing of the reply is
// judged here.
int rpc_exchange(const char* path, RequestRecord& record);

// The same with the path given to rpc_init.
int rpc_exchange(RequestRecord& record);

char* rpc_segment();         // base of the segment, null without a session
uint32_t rpc_segment_size(); // bytes

// Ends the session; `unload` also unloads the dictionary library, which no signal handler may do. Harmless
// when repeated.
void rpc_close(bool unload);

// What the handler of a stop signal may do of it: what it interrupted may go on to read the segment for a
// while.
void rpc_close_but_for_reading();

// Fetches the user dictionary arrays; prints "rpc_syncdesc: text(code)" when that fails.
void rpc_syncdesc();

// One command whose argument text is the arguments, each followed by a blank; prints the answer. 0 or -1.
int rpc_raw(uint32_t code, int argc, char** argv);
int rpc_generic(const char* module, uint32_t code, int argc, char** argv);

// A cleared record with the code and the module name (nullptr for a raw code). False, with "ARG_TOO_LONG"
// printed, when the name does not fit its field with a NUL.
bool start_request(RequestRecord& record, uint32_t code, const char* module);

// Only the module name (nullptr empties the field), as start_request() does it.
bool set_module(RequestRecord& record, const char* module);

// Prints the reply's error text as a line. Always -1, for `return`.
int print_error(const RequestRecord& reply);
