#pragma once

// Every argument counts, the program's own name included; what is not known is ignored.

// False where the service is told to stay in the foreground.
bool GetDoFork(int argc, char** argv);

bool GetVerboseModeEnabled(int argc, char** argv);
