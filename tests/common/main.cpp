// The test runner's entry: a child mode when the command line names one, else the tests.
#include <gtest/gtest.h>
#include "support/appstate.h"
#include "support/msg.h"
#include "tests/common/testkit.h"

namespace {

// The tests share one process: a frame window or box owner that an earlier test destroyed
// must not stay registered, or the next box has a dead owner and never shows.
class ForgetDeadWindows : public testing::EmptyTestEventListener {
    void OnTestStart(const testing::TestInfo &) override
    {
        if (!IsWindow(appGetFrameWindow()))
            appSetFrameWindow(nullptr);
        msgSetDefaultOwner(nullptr);  // tests that want one set it themselves
    }
};

}  // namespace

int main(int argc, char **argv)
{
    int exitCode = 0;
    if (testkit::runChildMode(&exitCode))
        return exitCode;
    testing::InitGoogleTest(&argc, argv);
    testing::UnitTest::GetInstance()->listeners().Append(new ForgetDeadWindows);
    return RUN_ALL_TESTS();
}
