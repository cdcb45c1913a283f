#pragma once

#include "module_fixture.h"
#include "nuvra/open_cl_task.h"

namespace nuvra::test {

/// Numbers as the runtime is handed them, in hexadecimal.
template <class T>
std::string Hex(std::initializer_list<T> numbers) {
    const std::string text = fake::ToText(fake::Call{"", {fake::NumberBytes<T>(numbers)}});
    return text.substr(1, text.size() - 2);
}

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
        fake.launches.clear();
        return Outcome(task.Execute(cl.context, onQueue ? onQueue : cl.queue, parameters));
    }
    /// Makes each call of a successful `Execute` but queries fail in turn: its code comes back and no other
    /// call follows. Returns how many there were.
    int FailEachCall(const void* parameters) {
        for (int failing = 1;; failing++) {
            int seen = 0;
            fake.intercept = [&](const fake::Call& call) {
                if (call.name.starts_with("clGet")) return CL_SUCCESS;
                return ++seen == failing ? CL_OUT_OF_RESOURCES : CL_SUCCESS;
            };
            const std::string outcome = Execute(parameters);
            fake.intercept = nullptr;
            if (seen < failing) {
                EXPECT_EQ(outcome, "OK");
                return seen;
            }
            EXPECT_EQ(outcome, "CL_OUT_OF_RESOURCES") << fake::ToText(fake.calls.back());
            EXPECT_EQ(seen, failing);
        }
    }
    void SetDevice(cl_device_info which, fake::Bytes answer) {
        fake.platforms[0]->devices[0]->info[which] = std::move(answer);
    }

    /// Bytes that suffice for any record.
    static constexpr UInt64 kLargeSize = UInt64{1} << 35;

    OpenCLTaskRef task;
};

/// The same, with a source and a destination picture, which are memory2 and memory3.
class ImageTaskFixture : public TaskFixture {
protected:
    void SetUp() override {
        TaskFixture::SetUp();
        source = MakeImage(40, 30);
        destination = MakeImage(32, 24);
    }
    void TearDown() override {
        source = destination = nullptr;
        TaskFixture::TearDown();
    }
    OpenCLMemoryObjectRef MakeImage(size_t width, size_t height) {
        return cl.context.CreateImage2D(1, {}, width, height).GetValue();
    }

    OpenCLMemoryObjectRef source;
    OpenCLMemoryObjectRef destination;
};

}  // namespace nuvra::test
