// Scales a rectangle with a separable cubic filter. The positions and weights of each destination column's
// and row's taps are computed first, by one work-item each; the scaling then reads them.

// The Spline16 cubic pieces: 1 - 0.2x - 1.8x^2 + x^3 up to 1, and -7/15 t + 0.8 t^2 - t^3/3 with t = x - 1 up
// to 2. Factored, so that the weights near the zeros at 1 and 2 keep their precision: a position exactly on a
// source pixel must give its neighbours no weight.
static inline float CalcWeight(float x) {
    x = fabs(x);
    if (x <= 1.0f) return (x - 1.0f) * ((x - 0.8f) * x - 1.0f);
    if (x <= 2.0f) return (x - 1.0f) * (x - 2.0f) * (x - 2.4f) / -3.0f;
    return 0.0f;
}

// The taps of destination column or row gid among the source positions first to last, both counted from
// offset: index gets the span, weight from gid * filterSize on one weight a tap.
//
// When the picture shrinks, the filter covers two destination pixels to each side and is measured in them.
// When it grows, that would cover few source pixels or none: it then takes the four around the position and
// is measured in source pixels.
static inline void PrepareBuffer(__global int2* index, __global float* weight, float scale, float invscale,
                                 int offset, int first, int last, int filterSize, float halfFilterSize) {
    int gid = (int)get_global_id(0);
    // The position is the rounded product, in the span and in every weight: relaxed arithmetic would fuse it
    // with what it is subtracted from, whatever FP_CONTRACT says.
    volatile float product = (float)gid * scale;
    float f = product;
    int2 i = (int2)(convert_int_sat(ceil(f - halfFilterSize)), convert_int_sat(floor(f + halfFilterSize)));
    float unit = invscale;
    if (fabs(scale) < 1.0f) {
        i = (int2)((int)floor(f) - 1, (int)floor(f) + 2);
        unit = 1.0f;
    }
    i = clamp(i, (int2)(first), (int2)(last));
    index[gid] = i + (int2)(offset);
    for (int j = i.x, k = 0; j <= i.y; j++, k++)
        weight[(size_t)gid * filterSize + k] = CalcWeight(((float)j - f) * unit);
}

// The source rectangle lies behind offset: size is its last position.
__kernel void PrepareBufferPositive(__global int2* index, __global float* weight, const float scale,
                                    const float invscale, const int offset, const int size,
                                    const int filterSize, const float halfFilterSize) {
    PrepareBuffer(index, weight, scale, invscale, offset, 0, size, filterSize, halfFilterSize);
}

// Mirrored: it lies before offset, scale is negative and size, negative or 0, is its first position.
__kernel void PrepareBufferNegative(__global int2* index, __global float* weight, const float scale,
                                    const float invscale, const int offset, const int size,
                                    const int filterSize, const float halfFilterSize) {
    PrepareBuffer(index, weight, scale, invscale, offset, size, 0, filterSize, halfFilterSize);
}

__constant sampler_t srcSampler =
    CLK_NORMALIZED_COORDS_FALSE | CLK_ADDRESS_CLAMP_TO_EDGE | CLK_FILTER_NEAREST;

// Each work-item makes one pixel of the rectangle at off; its indices are the pixel's coordinates in it. No
// local memory, any local size. filterWidth counts groups of four taps.
__kernel void ScaleBicubic(__read_only image2d_t srcImage, __write_only image2d_t dstImage,
                           __global int2* indexX, __global int2* indexY, __global float4* weightX,
                           __global float* weightY, const int filterWidth, const int filterHeight,
                           const int2 off) {
    int x = (int)get_global_id(0);
    int y = (int)get_global_id(1);
    int2 xl = indexX[x];
    int2 yl = indexY[y];
    float4 col = (float4)(0.0f);
    float colsum = 0.0f;
    float rowsum = 0.0f;
    size_t p = (size_t)y * filterHeight;
    for (int r = yl.x; r <= yl.y; r++) {
        float4 row = (float4)(0.0f);
        rowsum = 0.0f;
        int remaining = xl.y - xl.x;
        int cx = xl.x;
        size_t q = (size_t)x * filterWidth;
        while (remaining >= 3) {
            float4 w4 = weightX[q];
            row += read_imagef(srcImage, srcSampler, (int2)(cx, r)) * w4.x;
            row += read_imagef(srcImage, srcSampler, (int2)(cx + 1, r)) * w4.y;
            row += read_imagef(srcImage, srcSampler, (int2)(cx + 2, r)) * w4.z;
            row += read_imagef(srcImage, srcSampler, (int2)(cx + 3, r)) * w4.w;
            rowsum += w4.x + w4.y + w4.z + w4.w;
            cx += 4;
            q++;
            remaining -= 4;
        }
        // Without remaining taps q is past this column's weights, for the last column past the buffer.
        if (remaining >= 0) {
            float4 w4 = weightX[q];
            row += read_imagef(srcImage, srcSampler, (int2)(cx, r)) * w4.x;
            rowsum += w4.x;
            if (remaining >= 1) {
                row += read_imagef(srcImage, srcSampler, (int2)(cx + 1, r)) * w4.y;
                rowsum += w4.y;
            }
            if (remaining >= 2) {
                row += read_imagef(srcImage, srcSampler, (int2)(cx + 2, r)) * w4.z;
                rowsum += w4.z;
            }
        }
        float w = weightY[p];
        col += row * w;
        colsum += w;
        p++;
    }
    write_imagef(dstImage, (int2)(x, y) + off, col / (colsum * rowsum));
}
