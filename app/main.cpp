#include "runkx4test.h"

int main(int argc, char *argv[])
{
    return runKx4Test(argc, argv);
}
