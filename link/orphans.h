#pragma once
// Segments of runs that SIGKILL ended between creating and marking one: nobody but a later run can remove
// them.

// Removes those that are older than two seconds; segments of anything else stay, and none is attached or
// read for it. Says nothing and cannot fail.
void remove_orphaned_segments();
