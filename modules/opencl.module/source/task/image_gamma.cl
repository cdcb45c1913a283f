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

// The power's bits by the rules of IEEE 754, for every base and exponent.
static uint Power(uint base, uint exponent) {
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

// log2 of positive normal numbers, at a fraction of the library's time, which has every other number to tell
// apart. With x = m 2^e and m between the roots of 1/2 and 2 it is e + 2 / ln 2 atanh((m - 1) / (m + 1)): the
// polynomial is atanh's series, its coefficients fitted for the least relative error, 1.4e-8.
static inline float4 Log2(float4 x) {
    int4 e = (as_int4(x) - 0x3f3504f3) >> 23;
    float4 m = as_float4(as_int4(x) - (e << 23));
    float4 t = (m - 1.0f) / (m + 1.0f);
    float4 u = t * t;
    float4 series = 2.88539004f + u * (0.961798847f + u * (0.576714396f + u * 0.431735873f));
    return convert_float4(e) + t * series;
}

// The colours' powers, by log2 and exp2, which take a fraction of pow's time. Exponent 1 gives the colours
// bit for bit.
static inline float4 RaiseColours(float4 colour, float exponent) {
    uint power = as_uint(exponent);
    if (power == ONE_BITS) return colour;
    float4 raised;
    uint4 bits = as_uint4(colour);
    int4 isZero = bits == 0u;
    int4 isOrdinary = (bits - SMALLEST_NORMAL_BITS < INFINITY_BITS - SMALLEST_NORMAL_BITS) | isZero;
    if ((isOrdinary.x & isOrdinary.y & isOrdinary.z) != 0 && power != 0u && power < INFINITY_BITS) {
        raised = exp2(exponent * Log2(as_float4(max(bits, SMALLEST_NORMAL_BITS))));
        raised = as_float4(as_int4(raised) & ~isZero);
    } else {
        raised.x = as_float(Power(bits.x, power));
        raised.y = as_float(Power(bits.y, power));
        raised.z = as_float(Power(bits.z, power));
    }
    raised.w = colour.w;
    return raised;
}

__kernel void InvertImage(__read_only image2d_t srcImage, __write_only image2d_t dstImage, float gamma) {
    size_t x = get_global_id(0);
    size_t y = get_global_id(1);
    int2 coord = (int2)(x, y);
    float4 col = RaiseColours(read_imagef(srcImage, srcSampler, coord), gamma);
    write_imagef(dstImage, coord, col);
}
