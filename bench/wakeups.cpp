// wakeups: sleeps for 10 ms again and again: what a process costs on the machine at hand that looks instead of waiting.
#include <unistd.h>

int main() {
    for (;;) {
        usleep(10000);
    }
}
