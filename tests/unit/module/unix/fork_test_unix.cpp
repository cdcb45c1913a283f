#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

#include "tracer.h"

namespace nuvra::test {
namespace {

class ForkTest : public ModuleTest {
protected:
    void SetUp() override { g_trace = {.isOffered = true}; }
    void TearDown() override { g_trace = {}; }

    /// Whether the system knows the thread by the id under which it is traced.
    bool IsTracedAsItIs() const {
        return OpenCL::IsAvailable() && g_trace.threads.back() == static_cast<UInt64>(syscall(SYS_gettid));
    }
    template <class Action>
    static int RunInChild(const Action& action) {
        const pid_t child = fork();
        if (child == 0) _exit(action());
        int status = -1;
        waitpid(child, &status, 0);
        return status;
    }
};

TEST_F(ForkTest, AForkedChildHasItsOwnThread) {
    Start(FakeLibrary());
    EXPECT_TRUE(IsTracedAsItIs());
    EXPECT_EQ(RunInChild([&] { return IsTracedAsItIs() ? 0 : 1; }), 0);
    EXPECT_TRUE(IsTracedAsItIs());
    Stop();
    EXPECT_EQ(RunInChild([] { return 0; }), 0) << "of the unloaded module nothing is called";
}

}  // namespace
}  // namespace nuvra::test
