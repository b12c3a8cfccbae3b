#pragma once
// A verb's handler: the arguments after the verb; 0 on success, -1 on failure with everything said already.
using Handler = int(int argc, char** argv);
