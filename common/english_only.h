#pragma once
// Whether the appliance shows English texts only: true when a line of its settings begins with "ENONLY=1".
// Reads the file on every call; false without one.
bool english_only();
