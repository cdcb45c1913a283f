// A module called ZOO_ID with a framework beside it. It needs ZOO_DEPENDENCIES, uses ZOO_USES if that is
// defined, and has an initializer and the records ZOO_RECORDS.
#include "zoo.h"
#include "nuvra/diagnostic.h"
#include "nuvra/registry.h"

namespace zoo {

using namespace nuvra;

constexpr Id kDependencies[] = {"net.nuvra.core.framework", ZOO_DEPENDENCIES};
constinit ModuleRecord g_module{ZOO_ID, 0, kDependencies};
constinit ModuleRecord g_framework{ZOO_ID ".framework", kModuleFramework};
constinit InitializerRecord g_initializer{
    {{RecordKind::INITIALIZER, ZOO_ID, nullptr, 0}, nullptr},
    []() -> Result<void> {
        if (std::string_view(ZOO_ID) == "zoo.failing")
            return NewError<WrongValueTypeErrorObject>("the weather is bad");
        static bool hasStarted = false;  // since it was loaded
        Log(std::exchange(hasStarted, true) ? "again " ZOO_ID : "+" ZOO_ID);
#if defined(ZOO_USES)
        Table<ZOO_USES>()->Write("served");
#endif
        return {};
    },
    [] { Log("-" ZOO_ID); }};

constexpr Served::Operations kServedTable{Log};
constinit InterfaceRecord g_served = ImplementInterface<Served>("zoo.Server", "Server", kServedTable);

// Of a kind that the host has never heard of, from a later day.
constinit EntityRecord g_unknown{{RecordKind{99}, "zoo.from_the_future", nullptr, 0}, nullptr};

// As when the system service had one operation more.
constinit InterfaceRecord g_operationCount{System::kId, kReference, System::kHeader,
                                           kOperationCount<System> + 1};

// Of a service that the host implements.
constexpr System::Operations kSystemTable{};
constinit InterfaceRecord g_secondImplementation =
    ImplementInterface<System>("zoo.System", "System", kSystemTable);

constexpr ComponentRecord MakeComponent(const char* id, const char* typeName, Int size,
                                        const ComponentOperations& operations,
                                        const ComponentInterface& implemented) {
    return {
        {{RecordKind::COMPONENT, id, nullptr, 0}, nullptr}, typeName, size, 8, &operations, &implemented, 1};
}
constexpr ClassRecord MakeClass(const char* id, const char* baseClass, const Id* component) {
    return {
        {{RecordKind::CLASS, id, nullptr, kDeclaration}, nullptr}, baseClass, component, component ? 1 : 0};
}

// A class that cannot be copied.
struct CounterData {
    Int64 value = 0;
    String name;
};
constexpr Counter::Operations kCounterTable{
    [](void* data) -> Int { return ++static_cast<CounterData*>(data)->value; }};
constexpr ComponentInterface kCounterInterface{Counter::kId, &kCounterTable, 1};
constexpr ComponentOperations kCounterOperations{
    [](void* data) { new (data) CounterData; },
    [](void* data) { static_cast<CounterData*>(data)->~CounterData(); },
    nullptr,
    [](BaseArray<MemberDescription>& members) {
        return members.Append({"_value", DataTypeTraits<Int64>::kId, offsetof(CounterData, value)});
    },
};
constinit ComponentRecord g_counterPart =
    MakeComponent("zoo.part", ".CounterImpl", sizeof(CounterData), kCounterOperations, kCounterInterface);
constexpr Id kCounterParts[] = {"zoo.part.CounterImpl"};
constinit ClassRecord g_counter = MakeClass("zoo.Counter", nullptr, kCounterParts);
constinit RegistryEntryRecord g_entry{
    {{RecordKind::REGISTRY_ENTRY, "zoo.Classes:counter", nullptr, 0}, nullptr}, "zoo.Counter"};

// A class of what may be one or the other component.
constexpr Id kAmbiguousParts[] = {"zoo.part"};
constinit ClassRecord g_ambiguous = MakeClass("zoo.Ambiguous", nullptr, kAmbiguousParts);

// An error that shouts the text that it was given.
constexpr ErrorInterface::Operations kShoutTable = [] {
    ErrorInterface::Operations table{};
    table.GetMessage = [](Object* error, void*) {
        const String text = Table<ErrorInterface>()->GetStoredMessage(error);
        return Diagnostic::Format("@!", {text.GetView()}).GetValue();
    };
    return table;
}();
constexpr ComponentInterface kShoutInterface{ErrorInterface::kId, &kShoutTable,
                                             kOperationCount<ErrorInterface>};
constexpr ComponentOperations kNoData{[](void*) {}, [](void*) {}, nullptr, nullptr};
constinit ComponentRecord g_shoutPart = MakeComponent("zoo.part", ".ShoutImpl", 0, kNoData, kShoutInterface);
constexpr Id kShoutParts[] = {"zoo.part.ShoutImpl"};
constinit ClassRecord g_shout = MakeClass("zoo.ShoutErrorObject", "nuvra.ErrorObject", kShoutParts);

// An error with an interface as it was before its latest operation, and one derived from it.
constexpr ComponentInterface kOutdatedInterface{ErrorInterface::kId, &kShoutTable,
                                                kOperationCount<ErrorInterface> - 1};
constinit ComponentRecord g_outdatedPart =
    MakeComponent("zoo.outdated", ".OutdatedImpl", 0, kNoData, kOutdatedInterface);
constexpr Id kOutdatedParts[] = {"zoo.outdated"};
constinit ClassRecord g_outdated = MakeClass("zoo.OutdatedErrorObject", "nuvra.ErrorObject", kOutdatedParts);
constinit ClassRecord g_derived = MakeClass("zoo.DerivedErrorObject", "zoo.OutdatedErrorObject", nullptr);
constinit RegistryEntryRecord g_outdatedEntry{
    {{RecordKind::REGISTRY_ENTRY, "zoo.Classes:outdated", nullptr, 0}, nullptr}, "zoo.DerivedErrorObject"};

}  // namespace zoo

NUVRA_EXPORT_MODULES;

namespace {
const nuvra::ModuleRegistration g_registration(g_privateModules, zoo::g_module, {&zoo::g_framework}, "zoo",
                                               {&zoo::g_initializer ZOO_RECORDS});
}  // namespace
