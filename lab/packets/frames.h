#pragma once
// The packets of the sessions as a capture of their headers would hold them: as many each way, as long in
// all, spread over the session's time.
#include "lab/world/traffic.h"

#include <string>

std::string capture_file_header(); // of a pcap file: Ethernet, microseconds, frames cut to their first bytes

// Packets of a session, at least one.
uint32_t frames_of(const Session& session);

// Appends packet `k` of the session with its record header.
void append_frame(const Traffic& traffic, const Session& session, uint32_t k, std::string& out);

// Appends a packet that belongs to no session: the heartbeat of the capture engine, with a number of its own.
void append_heartbeat(uint32_t time, uint32_t number, std::string& out);

constexpr size_t frame_record_max = 16 + 96; // bytes that append_frame() appends at most
