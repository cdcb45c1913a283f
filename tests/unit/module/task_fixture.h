#pragma once

#include "module_fixture.h"
#include "nuvra/open_cl_task.h"

namespace nuvra::test {

/// One task on the fake runtime, with one object of each kind.
class TaskFixture : public ModuleTest {
protected:
    void SetUp() override {
        ModuleTest::SetUp();
        bufferSize = kLargeSize;
        MakeObjects();
    }
    void TearDown() override {
        task = {};
        ModuleTest::TearDown();
    }
    void Get(const char* name) {
        const Result<OpenCLTaskRef> result = cl.context.GetTask(MakeText(name));
        ASSERT_EQ(Outcome(result), "OK");
        task = result.GetValue();
        fake.calls.clear();
    }
    /// On `onQueue`, or on the queue of the fixture.
    std::string Execute(const void* parameters, const OpenCLCommandQueueRef& onQueue = {}) {
        fake.calls.clear();
        return Outcome(task.Execute(cl.context, onQueue ? onQueue : cl.queue, parameters));
    }
    void SetDevice(cl_device_info which, fake::Bytes answer) {
        fake.platforms[0]->devices[0]->info[which] = std::move(answer);
    }

    /// Bytes that suffice for any record.
    static constexpr UInt64 kLargeSize = UInt64{1} << 35;

    OpenCLTaskRef task;
};

}  // namespace nuvra::test
