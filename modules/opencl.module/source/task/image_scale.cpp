#include "task/image_scale.h"

#include "opencl_error.h"
#include "task/image_task.h"

namespace nuvra {

namespace {

bool Fits32Bits(Int64 value) {
    return value >= INT32_MIN && value <= INT32_MAX;
}

Result<ScaleGeometry::Axis> MakeAxis(Int64 source, Int64 sourceExtent, Int64 destination, Int64 extent) {
    // Values of 32 bits also keep the sums below from overflowing.
    for (const Int64 value : {source, sourceExtent, destination, extent})
        if (!Fits32Bits(value)) return OpenCLError(CL_INVALID_VALUE);
    if (extent < 0) {
        destination += extent + 1;
        extent = -extent;
        source += sourceExtent - 1;
        sourceExtent = -sourceExtent;
    }
    if (!Fits32Bits(source) || !Fits32Bits(source + sourceExtent) || !Fits32Bits(destination) ||
        !Fits32Bits(extent) || !Fits32Bits(sourceExtent))
        return OpenCLError(CL_INVALID_VALUE);
    return ScaleGeometry::Axis{static_cast<Int32>(source), static_cast<Int32>(sourceExtent),
                               static_cast<Int32>(destination), static_cast<Int32>(extent),
                               static_cast<Float32>(sourceExtent) / static_cast<Float32>(extent)};
}

}  // namespace

Result<ScaleGeometry> MakeScaleGeometry(const ScaleParameters& parameters, const ImageSize& size) {
    // Only a negative destination extent mirrors.
    if (parameters.srcWidth <= 0 || parameters.srcHeight <= 0 || parameters.dstWidth == 0 ||
        parameters.dstHeight == 0 || *parameters.source == *parameters.destination)
        return OpenCLError(CL_INVALID_VALUE);
    NUVRA_ASSIGN_OR_RETURN(
        const auto x, MakeAxis(parameters.srcX, parameters.srcWidth, parameters.dstX, parameters.dstWidth));
    NUVRA_ASSIGN_OR_RETURN(
        const auto y, MakeAxis(parameters.srcY, parameters.srcHeight, parameters.dstY, parameters.dstHeight));
    NUVRA_RETURN_IF_ERROR(CheckRectangle(size, x.destination, y.destination, x.extent, y.extent));
    return ScaleGeometry{x, y};
}

}  // namespace nuvra
