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
    void SetUp() override {
        tracing =
            std::make_shared<host::Tracing>(host::TracingOptions{.traceFile = traceFile, .logFile = logFile});
    }
    static void* Address(UInt64 number) { return reinterpret_cast<void*>(number); }
    Json ReadFinished() {
        Finish();
        return ReadTrace();
    }
};

constexpr const char* kFinish = "nuvra::OpenCLInterface::clFinish";

TEST_F(RecorderTest, WhatIsUnknownIsShownRaw) {
    const cl_int numbers[] = {1, 2};
    const cl_context_properties properties[] = {0x9999, 42, 0};
    Begin("clFuture", "PiuwnNbETx", Address(0x10), 5, 6U, cl_ulong{0x80000001}, 0x99U, cl_ulong{7}, 3U, 0x1U,
          "text");
    End("clFuture", "iP", -9999, Address(0x20));
    Begin("nuvra::OpenCLInterface::clCreateContext", "ruaPpppx", properties, 0U, 0, nullptr, nullptr, nullptr,
          nullptr);
    End("nuvra::OpenCLInterface::clCreateContext", "iP", -9999, nullptr);
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
    struct Case {
        cl_uint which;
        size_t size;
        const void* value;
        const size_t* written;
        cl_int code;
        const char* results;
    };
    const Case cases[] = {
        {CL_DEVICE_GLOBAL_MEM_SIZE, 8, &large, nullptr, 0, "CL_SUCCESS, param_value=68719476736"},
        {CL_DEVICE_GLOBAL_MEM_SIZE, 4, &large, nullptr, 0, "CL_SUCCESS"},
        {CL_DEVICE_SINGLE_FP_CONFIG, 8, &bits, nullptr, 0,
         "CL_SUCCESS, param_value=CL_FP_DENORM|CL_FP_FMA|0x100000"},
        {CL_DEVICE_LOCAL_MEM_TYPE, 4, &local, nullptr, 0, "CL_SUCCESS, param_value=CL_LOCAL"},
        {CL_DEVICE_MAX_WORK_ITEM_SIZES, 24, sizes, &written, 0,
         "CL_SUCCESS, param_value=[1, 2], param_value_size_ret=16"},
        {CL_DEVICE_NAME, 3, "abcdef", nullptr, 0, "CL_SUCCESS, param_value=\"abc\""},
        {CL_DEVICE_NAME, 3, Address(8), nullptr, CL_INVALID_VALUE, "CL_INVALID_VALUE, FAILED"},
        {CL_DRIVER_VERSION, 0, nullptr, &written, 0, "CL_SUCCESS, param_value_size_ret=16"},
        {0x9999, 8, Address(8), nullptr, 0, "CL_SUCCESS"},
    };
    for (const Case& test : cases) {
        const char* function = "nuvra::OpenCLInterface::clGetDeviceInfo";
        Begin(function, "Pnsppx", Address(1), test.which, test.size, test.value, test.written);
        End(function, "i", test.code);
        const std::string line = TakeLog().at(0);
        EXPECT_EQ(line.substr(line.find("result=") + 7), test.results);
    }
}

TEST_F(RecorderTest, OfALongListTheBeginningAndTheNumberOfTheRestAreKept) {
    const std::vector<cl_int> numbers(100000, 7);
    Begin(kFinish, "aix", 100000, numbers.data());
    End(kFinish, "i", 0);
    const Json list = ReadFinished().at(0).at("args").at("arguments").at("value");
    EXPECT_EQ(list.size(), 65U);
    EXPECT_EQ(list.at(63), 7);
    EXPECT_EQ(list.at(64), "... 99936 more");
}

TEST_F(RecorderTest, AnyTextMakesValidJson) {
    const std::string every = [] {
        std::string text;
        for (int byte = 1; byte < 256; byte++) text += static_cast<char>(byte);
        return text;
    }();
    const std::string texts[] = {"\"quoted\\\"\n\t", every, std::string(100000, '\x01'),
                                 "\xC3\xA4\xF0\x9F\x98\x80", ""};
    for (const std::string& text : texts) {
        GetRecorder().Comment(text.c_str());
        const UInt32 cookie = Begin(text.c_str(), "Tx", text.c_str());
        GetRecorder().Attach(cookie, true, static_cast<Int>(text.size()), text.c_str(), 0);
        End(text.c_str(), "iT", -5, text.c_str());
        Begin("nuvra::OpenCLInterface::clCreateKernel", "PTpx", Address(0x10), text.c_str(), nullptr);
        End("nuvra::OpenCLInterface::clCreateKernel", "iP", 0, Address(0x20));
        Begin("nuvra::OpenCLInterface::clReleaseKernel", "Px", Address(0x20));
        End("nuvra::OpenCLInterface::clReleaseKernel", "i", 0);
    }
    const Json events = ReadFinished();
    ASSERT_EQ(events.size(), std::size(texts) * 4);
    for (size_t i = 0; i < std::size(texts); i++) {
        if (i == 1) continue;  // not UTF-8: compared below
        EXPECT_EQ(events[4 * i].at("name"), texts[i]);
        EXPECT_EQ(events[4 * i + 1].at("args").at("arguments").at("value"), texts[i]);
        EXPECT_EQ(events[4 * i + 1].at("args").at("attached").at("text[0]"), texts[i]);
    }
    const std::string replaced = events[4].at("name");
    EXPECT_TRUE(replaced.starts_with(every.substr(0, 127) + "\xEF\xBF\xBD"));
    EXPECT_EQ(TakeLog().size(), std::size(texts) * 4) << "one line a call";
}

TEST_F(RecorderTest, SlicesNestAndInstantsStandForThemselves) {
    Begin("outer", "x");
    Begin("inner", "x");
    End("inner", "i", 0);
    End("nuvra::OpenCLInterface::clSetKernelArg", "i", -30);
    EndOn(8, "outer", "i", 0);
    End("outer", "i", 0);
    Begin("OpenCLTracerInit", "i", 1);
    const Json events = ReadFinished();
    Texts shapes;
    for (const Json& event : events) {
        const std::string phase = event.at("ph");
        shapes.push_back(phase + ' ' + event.at("tid").dump() + ' ' + event.at("name").get<std::string>());
    }
    EXPECT_EQ(shapes, (Texts{"X 7 inner", "i 7 clSetKernelArg: CL_INVALID_VALUE", "i 8 outer", "X 7 outer",
                             "i 7 OpenCLTracerInit"}));
    const double outer = events[3].at("ts");
    const double inner = events[0].at("ts");
    EXPECT_LE(outer, inner);
    EXPECT_GE(outer + events[3].at("dur").get<double>(), inner + events[0].at("dur").get<double>());
    EXPECT_EQ(events[4].at("args").at("arguments").at("isDone"), 1);
}

TEST_F(RecorderTest, ThreadsKeepTheirSlicesApart) {
    constexpr UInt64 kThreads = 8;
    constexpr int kCalls = 500;
    std::vector<std::thread> threads;
    for (UInt64 thread = 1; thread <= kThreads; thread++) {
        threads.emplace_back([this, thread] {
            for (int i = 0; i < kCalls; i++) {
                BeginOn(thread, kFinish, "Px", Address(thread));
                EndOn(thread, kFinish, "i", i % 2 == 0 ? 0 : -36);
            }
        });
    }
    for (std::thread& thread : threads) thread.join();
    std::map<UInt64, int> counts;
    std::map<UInt64, double> ends;
    int failed = 0;
    for (const Json& event : ReadFinished()) {
        const UInt64 thread = event.at("tid");
        counts[thread]++;
        EXPECT_EQ(event.at("ph"), "X");
        EXPECT_GE(event.at("ts").get<double>(), ends[thread]) << "one slice after the other";
        ends[thread] = event.at("ts").get<double>() + event.at("dur").get<double>();
        const std::string queue = event.at("args").at("arguments").at("command_queue");
        EXPECT_TRUE(queue.ends_with("(0x" + std::to_string(thread) + ")")) << queue;
        failed += event.at("args").at("results").at("result") == "CL_INVALID_COMMAND_QUEUE" ? 1 : 0;
    }
    EXPECT_EQ(counts.size(), size_t{kThreads});
    for (const auto& [thread, count] : counts) EXPECT_EQ(count, kCalls);
    EXPECT_EQ(failed, int{kThreads} * kCalls / 2);
}

TEST_F(RecorderTest, ADurationIsTheCallsOwn) {
    // Two hundred thousand bytes take the tracer far longer to write than this call takes.
    const std::string text(200000, '\x01');
    const UInt32 cookie = Begin(kFinish, "Tx", text.c_str());
    GetRecorder().Attach(cookie, true, 0, text.c_str(), 0);
    End(kFinish, "T", text.c_str());
    const Json event = ReadFinished().at(0);
    EXPECT_LT(event.at("dur").get<double>(), 2000) << "microseconds";
}

TEST_F(RecorderTest, AddressesGivenAgainGetNewNumbers) {
    const auto create = [&](cl_int code) {
        Begin("nuvra::OpenCLInterface::clCreateBuffer", "Pwsppx", Address(1), cl_ulong{1}, size_t{4}, nullptr,
              nullptr);
        End("nuvra::OpenCLInterface::clCreateBuffer", "iP", code, code == 0 ? Address(2) : nullptr);
    };
    const auto release = [&](cl_int code) {
        Begin("nuvra::OpenCLInterface::clReleaseMemObject", "Px", Address(2));
        // Before the release is seen to end, another thread gets the same address.
        if (code == 0) {
            BeginOn(9, "nuvra::OpenCLInterface::clCreateBuffer", "Pwsppx", Address(1), cl_ulong{1}, size_t{4},
                    nullptr, nullptr);
            EndOn(9, "nuvra::OpenCLInterface::clCreateBuffer", "iP", 0, Address(2));
        }
        End("nuvra::OpenCLInterface::clReleaseMemObject", "i", code);
    };
    create(0);
    create(-4);
    release(-38);
    release(0);
    const std::string made =
        "clCreateBuffer(context=context#1, flags=CL_MEM_READ_WRITE, size=4, host_ptr=null, "
        "errcode_ret=null) -> result=";
    EXPECT_EQ(TakeLog(), (Texts{made + "CL_SUCCESS, buffer=buffer#1",
                                made + "CL_MEM_OBJECT_ALLOCATION_FAILURE, buffer=null, FAILED",
                                "clReleaseMemObject(memobj=buffer#1) -> result=CL_INVALID_MEM_OBJECT, FAILED",
                                made + "CL_SUCCESS, buffer=buffer#2",
                                "clReleaseMemObject(memobj=buffer#1) -> result=CL_SUCCESS"}));
    const std::vector<std::string> leaks = tracing->GetLeaks();
    ASSERT_EQ(leaks.size(), 1U);
    EXPECT_EQ(leaks[0], "buffer#2 (0x2)");
}

TEST_F(RecorderTest, AnUnfinishedCallIsInTheFileAndNothingComesAfterIt) {
    Begin(kFinish, "Px", Address(1));
    Finish();
    End(kFinish, "i", 0);
    Begin(kFinish, "Px", Address(1));
    const Json events = ReadTrace();
    ASSERT_EQ(events.size(), 1U);
    EXPECT_EQ(events[0].at("ph"), "B");
    EXPECT_EQ(TakeLog(), Texts{"clFinish(command_queue=queue#1) has not ended"});
}

TEST_F(RecorderTest, AFileIsWholeBetweenAnyTwoWrites) {
    const std::string text(3000, 'x');
    for (int i = 0; i < 1000; i++) {
        Begin(kFinish, "Tx", text.c_str());
        End(kFinish, "i", 0);
    }
    const Json cut = ReadTrace();
    EXPECT_GT(cut.size(), 900U) << "most is written while the program runs";
    EXPECT_EQ(ReadFinished().size(), 1000U);
}

TEST_F(RecorderTest, WithoutMemoryTheFilesEndWithAWholeRecord) {
    bool isEnough = false;
    for (int left = 0; !isEnough; left++) {
        SetUp();
        GetRecorder().Comment("a record before");
        Begin("outer", "x");
        g_allocationsLeft = left;
        try {
            const char* text = "more letters than a string holds in itself";
            GetRecorder().Attach(Begin("inner", "Tx", text), true, 0, text, 0);
            End("inner", "i", 0);
        } catch (const std::bad_alloc&) {
            GetRecorder().Stop(host::Recorder::kOutOfMemory);
        }
        Finish();
        g_allocationsLeft = -1;
        isEnough = tracing->GetProblems().empty();
        EXPECT_TRUE(ReadText(logFile).ends_with('\n'));
        EXPECT_TRUE(ReadText(traceFile).ends_with("}\n]\n"));
        EXPECT_GE(ReadTrace().size(), isEnough ? 3U : 1U);
        ASSERT_LT(left, 1000);
    }
}

TEST(TraceFile, AFileThatCannotBeWrittenIsToldOnceAndChangesNothing) {
    const std::pair<const char*, const char*> cases[] = {
        {"/dev/full", "cannot write \"/dev/full\": No space left on device"},
        {"/nowhere/trace", "cannot write \"/nowhere/trace\": No such file or directory"},
    };
    for (const auto& [file, problem] : cases) {
        host::Tracing tracing({.traceFile = file, .logFile = file});
        for (int i = 0; i < 10000; i++) host::GetRecorder(tracing).Comment("comment");
        tracing.Finish();
        EXPECT_EQ(tracing.GetProblems(), (Texts{problem, problem})) << "of each tracer";
    }
}

}  // namespace
}  // namespace nuvra::test
