#include "fake_opencl.h"

namespace nuvra::fake {
namespace {

/// Arguments as texts.
struct Teller {
    std::string operator()(std::uint64_t number) const { return std::to_string(number); }
    std::string operator()(const void* pointer) const { return pointer == nullptr ? "null" : "ptr"; }
    std::string operator()(const Object* object) const { return object == nullptr ? "null" : object->name; }
    std::string operator()(const std::string& text) const { return '"' + text + '"'; }
    std::string operator()(const Bytes& bytes) const {
        std::string text;
        for (const std::uint8_t byte : bytes)
            for (const int digit : {byte >> 4, byte & 15}) text += "0123456789abcdef"[digit];
        return text;
    }
    template <class T>
    std::string operator()(const std::vector<T>& list) const {
        return '[' + Join(list, " ", *this) + ']';
    }
    std::string operator()(const Value& value) const { return std::visit(*this, value); }

    template <class T>
    static std::string Join(const std::vector<T>& list, const char* separator, const Teller& tell) {
        std::string text;
        for (const T& item : list) text += (text.empty() ? "" : separator) + tell(item);
        return text;
    }
};

}  // namespace

std::string ToText(const Call& call) {
    return call.name + '(' + Teller::Join(call.values, ", ", {}) + ')';
}

Bytes TextBytes(const std::string& text) {
    return Bytes(text.c_str(), text.c_str() + text.size() + 1);
}

Control& Control::Get() {
    static Control& control = *new Control;  // calls may come after everything static has ended
    return control;
}

void Control::Reset() {
    *this = Control();
    AddDevice(AddPlatform("Fake platform"), "Fake device");
    imageFormats = {{CL_RGBA, CL_UNORM_INT8}, {CL_BGRA, CL_UNORM_INT8}, {CL_R, CL_FLOAT}};
    buildLog = "fake log";
    binary = {1, 2, 3, 4, 5};
    workGroupInfo = {{CL_KERNEL_WORK_GROUP_SIZE, NumberBytes<std::size_t>({256})},
                     {CL_KERNEL_COMPILE_WORK_GROUP_SIZE, NumberBytes<std::size_t>({8, 4, 2})},
                     {CL_KERNEL_LOCAL_MEM_SIZE, NumberBytes<cl_ulong>({1024})},
                     {CL_KERNEL_PREFERRED_WORK_GROUP_SIZE_MULTIPLE, NumberBytes<std::size_t>({32})},
                     {CL_KERNEL_PRIVATE_MEM_SIZE, NumberBytes<cl_ulong>({64})}};
}

Object& Control::AddPlatform(const std::string& name) {
    Object& platform = Make("platform");
    platform.info = {{CL_PLATFORM_NAME, TextBytes(name)},
                     {CL_PLATFORM_PROFILE, TextBytes("FULL_PROFILE")},
                     {CL_PLATFORM_VERSION, TextBytes("OpenCL 1.2 fake")},
                     {CL_PLATFORM_VENDOR, TextBytes("Fake vendor")},
                     {CL_PLATFORM_EXTENSIONS, TextBytes("cl_khr_icd cl_fake_extension")}};
    platforms.push_back(&platform);
    return platform;
}

Object& Control::AddDevice(Object& platform, const std::string& name) {
    Object& device = Make("device");
    device.info = {
        {CL_DEVICE_NAME, TextBytes(name)},
        {CL_DEVICE_VENDOR, TextBytes("Fake vendor")},
        {CL_DRIVER_VERSION, TextBytes("352.86")},
        {CL_DEVICE_VERSION, TextBytes("OpenCL 1.2 fake")},
        {CL_DEVICE_OPENCL_C_VERSION, TextBytes("OpenCL C 1.2 fake")},
        {CL_DEVICE_EXTENSIONS, TextBytes("cl_khr_fp64  cl_fake_extension ")},
        {CL_DEVICE_TYPE, NumberBytes<cl_device_type>({CL_DEVICE_TYPE_GPU})},
        {CL_DEVICE_PLATFORM, NumberBytes<const Object*>({&platform})},
        {CL_DEVICE_MAX_WORK_ITEM_DIMENSIONS, NumberBytes<cl_uint>({3})},
        {CL_DEVICE_MAX_WORK_ITEM_SIZES, NumberBytes<std::size_t>({1024, 1024, 64})},
        {CL_DEVICE_MAX_WORK_GROUP_SIZE, NumberBytes<std::size_t>({1024})},
        {CL_DEVICE_QUEUE_PROPERTIES,
         NumberBytes<cl_ulong>({CL_QUEUE_OUT_OF_ORDER_EXEC_MODE_ENABLE | CL_QUEUE_PROFILING_ENABLE})},
        {CL_DEVICE_AVAILABLE, NumberBytes<cl_bool>({CL_TRUE})},
        {CL_DEVICE_COMPILER_AVAILABLE, NumberBytes<cl_bool>({CL_TRUE})},
        {CL_DEVICE_EXECUTION_CAPABILITIES, NumberBytes<cl_ulong>({CL_EXEC_KERNEL})},
    };
    platform.devices.push_back(&device);
    return device;
}

cl_int Control::Record(const char* name, std::vector<Value> values) {
    calls.push_back({name, std::move(values)});
    EndIfDeadly(calls.back());
    for (Failure& failure : _failures) {
        if (!failure.name.empty() && failure.name != name) continue;
        failure.seen++;
        if (failure.nth == 0 || failure.nth == failure.seen) return failure.code;
    }
    return intercept ? intercept(calls.back()) : CL_SUCCESS;
}

std::vector<std::string> Control::TextsOf(const std::string& name) const {
    std::vector<std::string> texts;
    for (const Call& call : calls)
        if (call.name == name) texts.push_back(Teller::Join(call.values, ", ", {}));
    return texts;
}

int Control::CountLive() const {
    return static_cast<int>(std::ranges::count_if(_objects, [](const auto& object) {
        return object->count > 0 && !object->name.starts_with("platform") &&
               !object->name.starts_with("device");
    }));
}

Object& Control::Make(const std::string& kind) {
    const auto others =
        std::ranges::count_if(_objects, [&](const auto& other) { return other->name.starts_with(kind); });
    Object& object = *_objects.emplace_back(std::make_unique<Object>());
    object.name = kind + std::to_string(others + 1);
    return object;
}

bool Control::Check(const std::string& kind, const void* handle) {
    if (handle == nullptr) return false;
    const Object* object = Find(handle);
    const bool isOfKind = object != nullptr && object->name.starts_with(kind);
    if (isOfKind && object->count > 0) return true;
    faults.push_back(ToText(calls.back()) + (isOfKind ? " got a released " : " got what is no ") + kind);
    return false;
}

Object* Control::Find(const void* handle) const {
    const auto found =
        std::ranges::find_if(_objects, [handle](const auto& object) { return object.get() == handle; });
    return found != _objects.end() ? found->get() : nullptr;
}

Value Control::Describe(const void* pointer) const {
    const Object* object = Find(pointer);
    return object != nullptr || pointer == nullptr ? Value(object) : Value(pointer);
}

std::string Control::NameOf(const void* pointer) const {
    return Teller()(Describe(pointer));
}

}  // namespace nuvra::fake
