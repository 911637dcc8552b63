// The sleep that the daemon calls in a hurry: each second lasts a millisecond.
#include <unistd.h>

unsigned sleep(unsigned seconds) {
    usleep(1000 * seconds);
    return 0;
}
