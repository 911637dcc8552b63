// Replaces the daemon's sleep, so that each second lasts a millisecond.
#include <unistd.h>

unsigned sleep(unsigned seconds) {
    usleep(1000 * seconds);
    return 0;
}
