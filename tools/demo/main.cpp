#include <cstdio>

#include "core/BrindlexCore.h"

int main() {
    std::printf("BrindlexCore %s\n", BrindlexCoreVersionString);
    return 0;
}
