#pragma once
// Where the appliance's files and sockets are; no other file names them.
// With VIGIL_ROOT in the environment (an absolute path of at most 79 bytes without a ':') every place lies
// below that directory; an empty one counts as unset, and a set-user-id run ignores it.
#include <cstddef>

namespace place {
inline constexpr char analysis_daemon[] = "/var/tmp/obslog.d";
inline constexpr char management_daemon[] = "/usr/ramdisk/var/mgmt.d";
inline constexpr char chart_daemon[] = "/usr/ramdisk/var/obschartd.d";
inline constexpr char dictionary_library[] = "/usr/ramdisk/bin/dict.so";
inline constexpr char configuration_directory[] = "/conf";
inline constexpr char assets_configuration[] = "/conf/obs_assets.conf";
inline constexpr char english_only[] = "/usr/ramdisk/KS.conf";
inline constexpr char vendor_database[] = "/usr/ramdisk/etc/oui.dat";
inline constexpr char capture_ring[] = "/usr/obslog/obspcap";
inline constexpr char capture_export[] = "/log/obspcap.pcap";
inline constexpr char export_directory[] = "/usr/obslog";
inline constexpr char alert_log_directory[] = "/usr/keslog";
inline constexpr char uptime[] = "/proc/uptime"; // never moved, nor is the next
inline constexpr char segment_table[] = "/proc/sysvipc/shm";

constexpr size_t root_max = 79;
constexpr size_t path_max = 512; // of a moved place
} // namespace place

// A place as it is to be opened. By value: several fit in one call.
struct PlacePath {
    char text[place::path_max];
};

// `fixed` (one of the above, or a path composed from one) below the root in force.
PlacePath placed(const char* fixed);

// What is wrong with VIGIL_ROOT, as a line to print; nothing must be opened then. Null when it can be used.
const char* root_fault();
