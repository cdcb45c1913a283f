#include "core_module.h"

#include <cstddef>

#include "data_types.h"
#include "object_class.h"
#include "services.h"
#include "tracer_service.h"

namespace nuvra::host {

namespace {

constexpr char kHostClass[] = "nuvra.Host";

constinit ModuleRecord g_module{"net.nuvra.core.framework", kModuleFramework};
constinit SourceUnitRecord g_unit{"core_module"};

constinit InterfaceRecord g_interfaces[] = {
    ImplementInterface<System>(kHostClass, "System", kSystemOperations),
    ImplementInterface<StringInterface>(kHostClass, "String", kStringOperations),
    ImplementInterface<CStringInterface>(kHostClass, "CString", kCStringOperations),
    ImplementInterface<ErrorInterface>(kHostClass, "Error", kErrorOperations),
    ImplementInterface<ObjectInterface>(kHostClass, "Object", kObjectOperations),
    ImplementInterface<WeakPtrTarget>(kHostClass, "WeakPtrTarget", kWeakOperations),
    ImplementInterface<Registry>(kHostClass, "Registry", kRegistryOperations),
    ImplementInterface<Diagnostic>(kHostClass, "Diagnostic", kDiagnosticOperations),
    ImplementInterface<UrlInterface>("nuvra.Url", "UrlImpl", kUrlOperations),
    ImplementInterface<DllInterface>("nuvra.Dll", "DllImpl", kDllOperations),
};

// The opencl.module declares the same interfaces under "net.nuvra.private_oglclvk_trace.framework";
// interfaces are found by their own ids, whichever module declares them.
constinit ModuleRecord g_traceModule{"net.nuvra.trace.framework", kModuleFramework};
constinit SourceUnitRecord g_traceUnit{"tracer_service"};

constinit InterfaceRecord g_traceInterfaces[] = {
    ImplementInterface<OpenGLCLTrace>(kHostClass, "OpenGLCLTrace", kTraceOperations),
    ImplementInterface<OpenGLCLVKTracerInterface>(kHostClass, "OpenGLCLVKTracerImpl", kTracerOperations),
};

constexpr char kErrorComponentId[] = "nuvra.core.error";
constexpr char kErrorClassId[] = "nuvra.ErrorObject";
constinit const Id kErrorComponents[] = {kErrorComponentId};
constinit ComponentRecord g_errorComponent;

constexpr ClassRecord DeriveErrorClass(const char* id) {
    ClassRecord record;
    record.kind = RecordKind::CLASS;
    record.id = id;
    record.flags = kDeclaration;
    record.baseClass = kErrorClassId;
    return record;
}

constinit ClassRecord g_errorClass{
    {{RecordKind::CLASS, kErrorClassId, nullptr, kDeclaration}, nullptr}, Id(), kErrorComponents, 1};
constinit ClassRecord g_errorClasses[] = {
    DeriveErrorClass("nuvra.OutOfMemoryErrorObject"),
    DeriveErrorClass("nuvra.NullPointerErrorObject"),
    DeriveErrorClass("nuvra.WrongValueTypeErrorObject"),
    DeriveErrorClass("nuvra.FunctionNotImplementedErrorObject"),
    DeriveErrorClass("nuvra.UnknownErrorObject"),
};

}  // namespace

ModuleRecord& MakeCoreModule() {
    g_errorComponent.kind = RecordKind::COMPONENT;
    g_errorComponent.id = kErrorComponentId;
    g_errorComponent.typeName = ".ErrorImpl";
    g_errorComponent.size = kErrorDataSize;
    g_errorComponent.alignment = alignof(std::max_align_t);
    g_errorComponent.operations = &kErrorComponentOperations;

    for (EntityRecord& record : g_interfaces) Register(g_unit, record);
    Register(g_unit, g_errorComponent);
    Register(g_unit, g_errorClass);
    for (EntityRecord& record : g_errorClasses) Register(g_unit, record);
    for (EntityRecord& record : GetDataTypes()) Register(g_unit, record);
    Register(g_module, g_unit);
    g_module.kind = RecordKind::MODULE;
    return g_module;
}

ModuleRecord& MakeTraceModule() {
    for (EntityRecord& record : g_traceInterfaces) Register(g_traceUnit, record);
    Register(g_traceModule, g_traceUnit);
    g_traceModule.kind = RecordKind::MODULE;
    return g_traceModule;
}

}  // namespace nuvra::host
