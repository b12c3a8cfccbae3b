#pragma once
// Reads the packets of sessions out of frames, and counts what becomes of every frame.
#include "lab/packets/fragments.h"
#include "lab/packets/frame_source.h"
#include "lab/world/traffic.h"

class FrameReader {
public:
    // The packet that the frame brings or completes; null, with the reason counted, when it brings none. It
    // lives until the next call, no longer than the frame's bytes.
    const Packet* read(const Frame& frame, CaptureCounts& counts);

private:
    Fragments fragments_;
    Packet packet_;
};
