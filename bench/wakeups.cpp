// wakeups: sleeps for 10 ms again and again, as the service's main thread does; how much processor time that alone
// takes is the floor of an idle service on the machine at hand.
#include <unistd.h>

int main() {
    for (;;) {
        usleep(10000);
    }
}
