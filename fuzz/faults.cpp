// The daemon's whole life, in which up to three kinds of calls fail, each once or for ever.
#define FAULTS 3
#include "daemon.cpp"
