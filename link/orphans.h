#pragma once
// Segments of runs that SIGKILL ended between creating and marking one: nobody but a later run can remove
// them.

// Removes them, however many there are; segments of anything else stay. Says nothing and cannot fail.
void remove_orphaned_segments();
