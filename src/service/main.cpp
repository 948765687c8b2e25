#include "service/Logger.h"

int main() {
    return 0;
}
