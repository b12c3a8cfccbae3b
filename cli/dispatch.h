#pragma once
// From the command line to the exit status; see README.md for the forms.
int dispatch(int argc, char** argv);
