// Each work-item raises the colour of one pixel to a power, leaving its alpha: pixel (x, y) of dstImage
// becomes that of srcImage. Its indices are the pixel's coordinates, so a launch over a rectangle has the
// rectangle's corner as global offset and its size as global size. No local memory, any local size.
// Traces show it under its name, InvertImage.

__constant sampler_t srcSampler =
    CLK_NORMALIZED_COORDS_FALSE | CLK_ADDRESS_CLAMP_TO_EDGE | CLK_FILTER_NEAREST;

// Under relaxed math the compiler may assume that there are no infinities and NaNs: they and zeros are
// recognised by their bits.
#define SIGN_BIT 0x80000000u
#define INFINITY_BITS 0x7f800000u
#define NAN_BITS 0x7fc00000u
#define ONE_BITS 0x3f800000u
#define SMALLEST_NORMAL_BITS 0x00800000u

static inline bool IsNan(uint bits) {
    return (bits & ~SIGN_BIT) > INFINITY_BITS;
}

// 0 for no integer, 1 for an odd one, 2 for an even one; infinities count as even.
static inline int IntegerKind(uint bits) {
    int exponent = (int)((bits >> 23) & 0xffu) - 127;
    uint mantissa = (bits & 0x007fffffu) | 0x00800000u;
    if (exponent > 23) return 2;
    if (exponent < 0) return (bits & ~SIGN_BIT) == 0u ? 2 : 0;
    uint lowest = 1u << (23 - exponent);
    if ((mantissa & (lowest - 1u)) != 0u) return 0;
    return (mantissa & lowest) != 0u ? 1 : 2;
}

// The power's bits by the rules of IEEE 754, for a base that is not a positive normal number or an exponent
// that is not finite.
static uint SpecialPower(uint base, uint exponent) {
    uint magnitude = base & ~SIGN_BIT;
    if ((exponent & ~SIGN_BIT) == 0u || base == ONE_BITS) return ONE_BITS;
    if (IsNan(base) || IsNan(exponent)) return NAN_BITS;
    bool isNegativePower = (exponent & SIGN_BIT) != 0u;
    if ((exponent & ~SIGN_BIT) == INFINITY_BITS) {
        if (magnitude == ONE_BITS) return ONE_BITS;
        return (magnitude > ONE_BITS) == isNegativePower ? 0u : INFINITY_BITS;
    }
    int kind = IntegerKind(exponent);
    uint sign = kind == 1 ? base & SIGN_BIT : 0u;
    if (magnitude == 0u) return sign | (isNegativePower ? INFINITY_BITS : 0u);
    if (magnitude == INFINITY_BITS) return sign | (isNegativePower ? 0u : INFINITY_BITS);
    if ((base & SIGN_BIT) != 0u && kind == 0) return NAN_BITS;
    // Denormals are scaled into the normal range: log2 may flush them to 0.
    float scaled = as_float(magnitude);
    float shift = 0.0f;
    if (magnitude < SMALLEST_NORMAL_BITS) {
        scaled = (float)magnitude;
        shift = -149.0f;
    }
    return sign | as_uint(exp2(as_float(exponent) * (log2(scaled) + shift)));
}

// pow(base, exponent) by log2 and exp2, which take a fraction of its time. Exponent 1 gives the base bit for
// bit.
static inline float Power(float base, float exponent) {
    if (as_uint(exponent) == ONE_BITS) return base;
    uint bits = as_uint(base);
    bool isOrdinary = bits - SMALLEST_NORMAL_BITS < INFINITY_BITS - SMALLEST_NORMAL_BITS &&
                      (as_uint(exponent) & INFINITY_BITS) != INFINITY_BITS;
    return isOrdinary ? exp2(exponent * log2(base)) : as_float(SpecialPower(bits, as_uint(exponent)));
}

__kernel void InvertImage(__read_only image2d_t srcImage, __write_only image2d_t dstImage, float gamma) {
    size_t x = get_global_id(0);
    size_t y = get_global_id(1);
    int2 coord = (int2)(x, y);
    float4 col = read_imagef(srcImage, srcSampler, coord);
    col.x = Power(col.x, gamma);
    col.y = Power(col.y, gamma);
    col.z = Power(col.z, gamma);
    write_imagef(dstImage, coord, col);
}
