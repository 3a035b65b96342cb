// The test runner's entry: a child mode when the command line names one, else the tests.
#include <gtest/gtest.h>
#include "tests/common/testkit.h"

int main(int argc, char **argv)
{
    int exitCode = 0;
    if (testkit::runChildMode(&exitCode))
        return exitCode;
    testing::InitGoogleTest(&argc, argv);
    return RUN_ALL_TESTS();
}
