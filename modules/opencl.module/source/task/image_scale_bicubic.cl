// Scales a rectangle with a separable cubic filter. The positions and weights of each destination column's
// and row's taps are computed first, by one work-item each. Then, for a tile of the rectangle, each source
// row that the tile needs is scaled to its columns; the rows so made are scaled to its rows. A source pixel
// is thus read once a tile, however many taps fall on it.
//
// The module builds it with
// -D PIXELS: 256
//     Pixels of 16 bytes that a group keeps in local memory; less where a device has less of it.

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

// The source rows that a tile needs, from x to y. A tile is (x, y, width, height) in the rectangle.
static inline int2 FindRows(__global const int2* indexY, int4 tile) {
    int2 top = indexY[tile.y];
    int2 bottom = indexY[tile.y + tile.w - 1];
    return (int2)(min(top.x, bottom.x), max(top.y, bottom.y));
}

// The weighted means of the taps of each of the tile's columns in each source row that the tile needs:
// sums[row * tile.z + column]. A group of one dimension makes neighbouring columns of one row; it reads the
// pixels that they need together. The global size may exceed the tile's width, and the rows that it needs, of
// which the last is then made again.
__kernel void SumRows(__read_only image2d_t srcImage, __global float4* sums, __global const int2* indexX,
                      __global const int2* indexY, __global const float* weightX, const int filterWidth,
                      const int4 tile) {
    __local float4 pixels[PIXELS];
    int row = (int)get_global_id(1);
    int2 rows = FindRows(indexY, tile);
    int r = min(rows.x + row, rows.y);
    uint lid = (uint)get_local_id(0);
    uint group = (uint)get_local_size(0);
    int column = (int)get_global_id(0);
    int firstColumn = column - (int)lid;
    int lastColumn = min(firstColumn + (int)group, tile.z) - 1;
    int2 left = indexX[tile.x + firstColumn];
    int2 right = indexX[tile.x + lastColumn];
    int first = min(left.x, right.x);
    uint span = (uint)max(left.y, right.y) - (uint)first + 1u;

    // A work-item past the tile helps with the reading and repeats the last column.
    int x = tile.x + min(column, lastColumn);
    uint begin = (uint)indexX[x].x - (uint)first;
    uint end = (uint)indexX[x].y - (uint)first + 1u;
    __global const float* weights = weightX + (size_t)x * filterWidth;
    float4 sum = (float4)(0.0f);
    float weightSum = 0.0f;
    for (uint start = 0u; start < span; start += PIXELS) {
        uint stop = min(span - start, (uint)PIXELS) + start;
        for (uint i = start + lid; i < stop; i += group)
            pixels[i - start] = read_imagef(srcImage, srcSampler, (int2)(first + (int)i, r));
        barrier(CLK_LOCAL_MEM_FENCE);
        for (uint i = max(begin, start); i < min(end, stop); i++) {
            float weight = weights[i - begin];
            sum += pixels[i - start] * weight;
            weightSum += weight;
        }
        barrier(CLK_LOCAL_MEM_FENCE);
    }
    if (column <= lastColumn) sums[(size_t)row * tile.z + column] = sum / weightSum;
}

// Each work-item makes one pixel of the rectangle at off from the sums of its column; its indices are the
// pixel's coordinates in the rectangle. No local memory, any local size.
__kernel void ScaleBicubic(__global const float4* sums, __write_only image2d_t dstImage,
                           __global const int2* indexY, __global const float* weightY, const int filterHeight,
                           const int4 tile, const int2 off) {
    int x = (int)get_global_id(0);
    int y = (int)get_global_id(1);
    int count = indexY[y].y - indexY[y].x + 1;
    sums += (size_t)(indexY[y].x - FindRows(indexY, tile).x) * tile.z + (x - tile.x);
    weightY += (size_t)y * filterHeight;
    float4 col = (float4)(0.0f);
    float weightSum = 0.0f;
    for (int k = 0; k < count; k++) {
        col += sums[(size_t)k * tile.z] * weightY[k];
        weightSum += weightY[k];
    }
    write_imagef(dstImage, (int2)(x, y) + off, col / weightSum);
}
