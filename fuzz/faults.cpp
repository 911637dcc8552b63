// The daemon's whole life, with up to three kinds of calls that fail, each once or for ever.
#define FAULTS 3
#include "daemon.cpp"
