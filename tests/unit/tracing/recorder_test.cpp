#include <chrono>
#include <cstdlib>
#include <new>
#include <thread>

#include "tracing_fixture.h"

namespace {
constinit thread_local int g_allocationsLeft = -1;  // that this thread still gets; negative: any number
}

[[gnu::noinline]] void* operator new(size_t size) {
    void* memory = g_allocationsLeft == 0 ? nullptr : std::malloc(size);
    if (memory == nullptr) throw std::bad_alloc();
    if (g_allocationsLeft > 0) g_allocationsLeft--;
    return memory;
}
[[gnu::noinline]] void* operator new(size_t size, const std::nothrow_t&) noexcept {
    return std::malloc(size);
}
[[gnu::noinline]] void operator delete(void* memory) noexcept {
    std::free(memory);
}
[[gnu::noinline]] void operator delete(void* memory, size_t) noexcept {
    std::free(memory);
}

namespace nuvra::test {
namespace {

/// Fed with events of the test's own; no module runs.
class RecorderTest : public TracingTest {
protected:
    void SetUp() override { MakeTracing(); }

    host::Recorder& GetRecorder() const { return host::GetRecorder(*tracing); }
    static void* Address(UInt64 number) { return reinterpret_cast<void*>(number); }

    /// An event of a thread before a call or after it.
    UInt32 Feed(UInt64 thread, bool isBefore, const char* name, const char* code, ...) {
        UInt32 cookie = 0;
        va_list values;
        va_start(values, code);
        if (isBefore)
            cookie = GetRecorder().Begin(thread, name, code, values);
        else
            GetRecorder().End(thread, name, code, values);
        va_end(values);
        return cookie;
    }
    template <class... Values>
    UInt32 Begin(Values... values) {
        return Feed(7, true, values...);
    }
    template <class... Values>
    void End(Values... values) {
        Feed(7, false, values...);
    }
};

constexpr const char* kFinish = "nuvra::OpenCLInterface::clFinish";

TEST_F(RecorderTest, WhatIsUnknownIsShownRaw) {
    const cl_int numbers[] = {1, 2};
    const cl_context_properties properties[] = {0x9999, 42, 0};
    Begin("clFuture", "PiuwnNbETx", Address(0x10), 5, 6U, cl_ulong{0x80000001}, 0x99U, cl_ulong{7}, 3U, 0x1U,
          "text");
    End("clFuture", "iP", -9999, Address(0x20));
    Begin("clCreateContext", "ruaPpppx", properties, 0U, 0, nullptr, nullptr, nullptr, nullptr);
    End("clCreateContext", "iP", -9999, nullptr);
    Begin(kFinish, "Pai?sx", Address(0x30), 2, numbers, 1, size_t{2});
    End(kFinish, "a?", 2, Address(0x40));
    EXPECT_EQ(
        TakeLog(),
        (Texts{"clFuture(value=0x10, value=5, value=6, value=CL_MEM_READ_WRITE|0x80000000, value=0x99, "
               "value=7, value=3, value=0x1, value=\"text\") -> value=-9999, value=0x20",
               "clCreateContext(properties={0x9999=0x2a}, num_devices=0, devices=null, pfn_notify=null, "
               "user_data=null, errcode_ret=null) -> result=-9999, context=null, FAILED",
               "clFinish(value=0x30, value=[1, 2], undecoded=\"?sx\") -> value=0x40"}));
}

TEST_F(RecorderTest, WhatAQueryHasWrittenIsReadByItsTypeAndNoFurther) {
    const cl_ulong large = 0x1000000000;
    const cl_device_fp_config bits = CL_FP_DENORM | CL_FP_FMA | 0x100000;
    const size_t sizes[] = {1, 2, 3};
    const size_t written = 16;
    const cl_uint local = CL_LOCAL;
    const auto ask = [&](cl_uint which, size_t size, const void* value, const size_t* length = nullptr,
                         cl_int code = CL_SUCCESS) {
        Begin("clGetDeviceInfo", "Pnsppx", Address(1), which, size, value, length);
        End("clGetDeviceInfo", "i", code);
        const std::string line = TakeLog().at(0);
        return line.substr(line.find("result=") + 7);
    };
    EXPECT_EQ(ask(CL_DEVICE_GLOBAL_MEM_SIZE, 4, &large), "CL_SUCCESS");
    EXPECT_EQ(ask(CL_DEVICE_SINGLE_FP_CONFIG, 8, &bits),
              "CL_SUCCESS, param_value=CL_FP_DENORM|CL_FP_FMA|0x100000");
    EXPECT_EQ(ask(CL_DEVICE_LOCAL_MEM_TYPE, 4, &local), "CL_SUCCESS, param_value=CL_LOCAL");
    EXPECT_EQ(ask(CL_DEVICE_MAX_WORK_ITEM_SIZES, 24, sizes, &written),
              "CL_SUCCESS, param_value=[1, 2], param_value_size_ret=16");
    EXPECT_EQ(ask(CL_DEVICE_NAME, 3, "abcdef"), "CL_SUCCESS, param_value=\"abc\"");
    EXPECT_EQ(ask(CL_DEVICE_NAME, 3, Address(8), nullptr, CL_INVALID_VALUE), "CL_INVALID_VALUE, FAILED");
    EXPECT_EQ(ask(0x9999, 8, Address(8)), "CL_SUCCESS");
}

TEST_F(RecorderTest, AnyTextMakesValidJsonAndOfALongListTheBeginningIsKept) {
    std::string every;
    for (int byte = 1; byte < 256; byte++) every += static_cast<char>(byte);
    const std::string texts[] = {"\"quoted\\\"\n\t", "\xC3\xA4\xF0\x9F\x98\x80", "",
                                 std::string(100000, '\x01'), every};
    for (const std::string& text : texts) {
        GetRecorder().Comment(text.c_str());
        const UInt32 cookie = Begin(text.c_str(), "Tx", text.c_str());
        GetRecorder().Attach(cookie, true, static_cast<Int>(text.size()), text.c_str(), 0);
        End(text.c_str(), "iT", -5, text.c_str());
        Begin("clCreateKernel", "PTpx", Address(0x10), text.c_str(), nullptr);
        End("clCreateKernel", "iP", 0, Address(0x20));
        Begin("clReleaseKernel", "Px", Address(0x20));
        End("clReleaseKernel", "i", 0);
    }
    const std::vector<cl_int> numbers(100000, 7);
    Begin(kFinish, "aix", 100000, numbers.data());
    End(kFinish, "i", 0);
    const Json events = ReadFinished();
    ASSERT_EQ(events.size(), std::size(texts) * 4 + 1);
    EXPECT_EQ(TakeLog().size(), events.size()) << "one line a call";
    for (size_t i = 0; texts[i] != every; i++) {
        EXPECT_EQ(events[4 * i].at("name"), texts[i]);
        EXPECT_EQ(events[4 * i + 1].at("args").at("arguments").at("value"), texts[i]);
        EXPECT_EQ(events[4 * i + 1].at("args").at("attached").at("text[0]"), texts[i]);
    }
    const std::string replaced = events[events.size() - 5].at("name");
    EXPECT_TRUE(replaced.starts_with(every.substr(0, 127) + "\xEF\xBF\xBD"));
    const Json list = events.back().at("args").at("arguments").at("value");
    EXPECT_EQ(list.size(), 65U);
    EXPECT_EQ(list.back(), "... 99936 more");
}

TEST_F(RecorderTest, SlicesNestAndInstantsStandForThemselves) {
    // Two hundred thousand bytes take the tracer far longer to write than this call takes.
    const std::string text(200000, '\x01');
    Begin("outer", "x");
    GetRecorder().Attach(Begin("inner", "Tx", text.c_str()), true, 0, text.c_str(), 0);
    End("inner", "iT", 0, text.c_str());
    End("clSetKernelArg", "i", -30);
    Feed(8, false, "outer", "i", 0);
    End("outer", "i", 0);
    Begin("OpenCLTracerInit", "i", 1);
    const Json events = ReadFinished();
    Texts shapes;
    for (const Json& event : events)
        shapes.push_back(event.at("ph").get<std::string>() + ' ' + event.at("tid").dump() + ' ' +
                         event.at("name").get<std::string>());
    EXPECT_EQ(shapes, (Texts{"X 7 inner", "i 7 clSetKernelArg: CL_INVALID_VALUE", "i 8 outer", "X 7 outer",
                             "i 7 OpenCLTracerInit"}));
    const auto [begin, duration] = std::pair<double, double>(events[0].at("ts"), events[0].at("dur"));
    const auto [outer, whole] = std::pair<double, double>(events[3].at("ts"), events[3].at("dur"));
    EXPECT_TRUE(outer <= begin && begin + duration <= outer + whole) << events;
    EXPECT_LT(duration, 2000) << "microseconds";
    EXPECT_EQ(events[4].at("args").at("arguments").at("isDone"), 1);
}

TEST_F(RecorderTest, ThreadsKeepTheirSlicesApart) {
    std::vector<std::thread> threads;
    for (UInt64 thread = 1; thread <= 8; thread++)
        threads.emplace_back([this, thread] {
            for (int i = 0; i < 500; i++) {
                Feed(thread, true, kFinish, "Px", Address(thread));
                Feed(thread, false, kFinish, "i", i % 2 == 0 ? 0 : -36);
            }
        });
    for (std::thread& thread : threads) thread.join();
    std::map<std::string, int> counts;
    for (const Json& event : ReadFinished()) {
        EXPECT_EQ(event.at("ph"), "X");
        const std::string queue = event.at("args").at("arguments").at("command_queue");
        EXPECT_TRUE(queue.ends_with("(0x" + event.at("tid").dump() + ")")) << queue;
        counts[queue + event.at("args").at("results").dump()]++;
    }
    EXPECT_EQ(counts.size(), 16U) << "each queue's successes and failures";
    for (const auto& [outcome, count] : counts) EXPECT_EQ(count, 250) << outcome;
}

TEST_F(RecorderTest, AddressesGivenAgainGetNewNumbers) {
    const auto begin = [&](UInt64 thread) {
        Feed(thread, true, "clCreateBuffer", "Pwsppx", Address(1), cl_ulong{1}, size_t{4}, nullptr, nullptr);
    };
    const auto end = [&](UInt64 thread, cl_int code) {
        Feed(thread, false, "clCreateBuffer", "iP", code, code == 0 ? Address(2) : nullptr);
    };
    for (const cl_int code : {0, -4}) {
        begin(7);
        end(7, code);
    }
    Begin("clReleaseMemObject", "Px", Address(2));
    End("clReleaseMemObject", "i", -38);
    Begin("clReleaseMemObject", "Px", Address(2));
    begin(9);  // before the release is seen to end, another thread gets the same address
    end(9, 0);
    End("clReleaseMemObject", "i", 0);
    const std::string made =
        "clCreateBuffer(context=context#1, flags=CL_MEM_READ_WRITE, size=4, host_ptr=null, "
        "errcode_ret=null) -> result=";
    EXPECT_EQ(TakeLog(), (Texts{made + "CL_SUCCESS, buffer=buffer#1",
                                made + "CL_MEM_OBJECT_ALLOCATION_FAILURE, buffer=null, FAILED",
                                "clReleaseMemObject(memobj=buffer#1) -> result=CL_INVALID_MEM_OBJECT, FAILED",
                                made + "CL_SUCCESS, buffer=buffer#2",
                                "clReleaseMemObject(memobj=buffer#1) -> result=CL_SUCCESS"}));
    EXPECT_EQ(tracing->GetLeaks(), Texts{"buffer#2 (0x2)"});
}

TEST_F(RecorderTest, AFileIsWholeBetweenAnyTwoWritesAndNothingComesAfterAnUnfinishedCall) {
    const std::string text(3000, 'x');
    for (int i = 0; i < 1000; i++) {
        Begin(kFinish, "Tx", text.c_str());
        End(kFinish, "i", 0);
    }
    EXPECT_GT(ReadTrace().size(), 900U) << "most is written while the program runs";
    Begin(kFinish, "Px", Address(1));
    tracing->Finish();
    End(kFinish, "i", 0);
    Begin(kFinish, "Px", Address(1));
    const Json events = ReadFinished();
    ASSERT_EQ(events.size(), 1001U);
    EXPECT_EQ(events.back().at("ph"), "B");
    EXPECT_EQ(TakeLog().back(), "clFinish(command_queue=queue#1) has not ended");
}

TEST_F(RecorderTest, WithoutMemoryTheFilesEndWithAWholeRecord) {
    bool isEnough = false;
    for (int left = 0; !isEnough; left++) {
        MakeTracing();
        GetRecorder().Comment("a record before");
        Begin("outer", "x");
        g_allocationsLeft = left;
        try {
            const char* text = "more letters than a string holds in itself";
            GetRecorder().Attach(Begin("inner", "Tx", text), true, 0, text, 0);
            End("inner", "i", 0);
        } catch (const std::bad_alloc&) {
            GetRecorder().Stop(host::Recorder::kOutOfMemory);
            EXPECT_EQ(Begin("later", "x"), 0U) << "nothing more is traced";
        }
        tracing->Finish();
        g_allocationsLeft = -1;
        isEnough = tracing->GetProblems().empty();
        EXPECT_TRUE(ReadText(logFile).ends_with('\n'));
        EXPECT_TRUE(ReadText(traceFile).ends_with("}\n]\n"));
        EXPECT_GE(ReadTrace().size(), isEnough ? 3U : 1U);
        ASSERT_LT(left, 1000);
    }
}

void Launch(const Objects& cl) {
    const size_t size = 1;
    static_cast<void>(cl.queue.EnqueueNDRangeKernel(cl.kernel, 1, nullptr, &size, nullptr));
}

TEST_F(TracingTest, CallsAreCountedByFunctionAndKernelAndLeaksNamedWithTheirMakers) {
    const auto start = std::chrono::steady_clock::now();
    StartTraced({.countsCalls = true, .keepsMakers = true});
    MakeObjects();
    const Char bytes[1] = {};
    fake.Fail("clEnqueueNDRangeKernel", CL_OUT_OF_RESOURCES, 2);
    for (int i = 0; i < 3; i++) Launch(cl);
    // A release that fails leaves the object where it is.
    fake.Fail("clReleaseKernel", CL_OUT_OF_RESOURCES, 1);
    cl.kernel = cl.program.CreateKernel("Tail").GetValue();
    Launch(cl);
    EXPECT_EQ(Outcome(cl.kernel.SetArg(0, bytes, 1)), "OK");
    std::map<std::string, std::pair<int, int>> rows;  // count and failures
    std::istringstream lines(tracing->GetCallTable());
    std::string line;
    ASSERT_TRUE(std::getline(lines, line));
    while (std::getline(lines, line)) {
        const size_t end = line.find(' ', 2);
        std::istringstream columns(line.substr(end));
        auto& [count, failed] = rows[line.substr(0, end)];
        double total = 0, shortest = 0, mean = 0, longest = 0;
        columns >> count >> total >> shortest >> mean >> longest >> failed;
        const std::chrono::duration<double, std::micro> elapsed = std::chrono::steady_clock::now() - start;
        EXPECT_TRUE(columns && shortest <= mean && mean <= longest && longest <= total) << line;
        EXPECT_LE(total, elapsed.count()) << line;
    }
    EXPECT_EQ(rows["clEnqueueNDRangeKernel"], std::pair(4, 1));
    EXPECT_EQ(rows["  Main"], std::pair(3, 1));
    EXPECT_EQ(rows["  Tail"], std::pair(1, 0));
    EXPECT_EQ(rows["clSetKernelArg"], std::pair(1, 0)) << "though its time is not known";
    EXPECT_EQ(tracing->GetLeaks().size(), 6U) << "all that is in use";
    EXPECT_EQ(tracing->CountCreated(), 6);
    Stop();
    const Texts leaks = tracing->GetLeaks();
    ASSERT_EQ(leaks.size(), 1U);
    EXPECT_TRUE(leaks[0].starts_with("kernel#1 Main (0x")) << leaks[0];
    EXPECT_NE(leaks[0].find(": clCreateKernel(program=program#1 ("), leaks[0].npos) << leaks[0];
}

TEST_F(TracingTest, SerializedEnqueuesAreWaitedForAndOthersAreNot) {
    StartTraced({.isSerialized = true});
    MakeObjects();
    TakeLog();
    int value = 0;
    fake.Fail("clEnqueueNDRangeKernel", CL_OUT_OF_RESOURCES, 2);
    Launch(cl);
    Launch(cl);
    EXPECT_EQ(Outcome(cl.queue.EnqueueReadBuffer(cl.buffer, false, 0, 4, &value)), "OK");
    EXPECT_EQ(Outcome(cl.kernel.SetArg(0, &value, 1)), "OK");
    EXPECT_EQ(TakeNames(), (Texts{"clEnqueueNDRangeKernel", "clFinish", "clEnqueueNDRangeKernel",
                                  "clEnqueueReadBuffer", "clFinish", "clSetKernelArg"}));
    EXPECT_EQ(TakeLog().size(), 4U) << "the tracer's own calls are not the program's";
    fake.Fail("clFinish", CL_OUT_OF_HOST_MEMORY);
    Launch(cl);
    EXPECT_TRUE(TakeLog().back().ends_with("event=null, finished=\"CL_OUT_OF_HOST_MEMORY\""));
}

TEST_F(TracingTest, SourcesAndSizesOfInitialDataAreAttachedAndWhatOutlivesTheHostIsTraced) {
    StartTraced();
    MakeObjects();
    const char* sources[] = {"first text", "second"};
    const size_t lengths[] = {5, 0};
    char bytes[] = "host";
    static_cast<void>(cl.context.CreateProgramWithSource(2, sources, lengths));
    for (const UInt32 flags : {32U, 8U, 1U})
        static_cast<void>(cl.context.CreateBuffer(flags, 4, flags > 1 ? bytes : nullptr));
    sources[0] = nullptr;  // has no text, and the runtime refuses it
    static_cast<void>(cl.context.CreateProgramWithSource(2, sources));
    const OpenCLMemoryObjectRef kept = cl.buffer;
    cl = {};
    EXPECT_EQ(host->host.Shutdown().size(), 1U);
    host.reset();
    TakeLog();
    EXPECT_EQ(Outcome(kept.Release()), "OK");
    EXPECT_EQ(TakeLog(), Texts{"clReleaseMemObject(memobj=buffer#1) -> result=CL_SUCCESS"});
    std::string attached;
    for (const Json& event : ReadFinished())
        if (event["args"].contains("attached"))
            attached += event.at("name").get<std::string>() + event["args"]["attached"].dump();
    EXPECT_TRUE(attached.ends_with(  // behind the fixture's program
        R"(}clCreateProgramWithSource{"text[0]":"first","text[1]":"second"}clCreateBuffer{"bytes":4})"
        R"(clCreateBuffer{"bytes":4}clCreateProgramWithSource: CL_INVALID_VALUE{"text[1]":"second"})"))
        << attached;
}

}  // namespace
}  // namespace nuvra::test
