// Each work-item makes one output pixel as the mean of two neighbours: of srcImage1 in the left half of the
// output, of srcImage2 in the right half. Alpha is the sum of the two. Its indices are the pixel's
// coordinates and the global width is that of the output. No local memory, any local size. Traces show
// it under its name, InvertImage.

__constant sampler_t srcSampler =
    CLK_NORMALIZED_COORDS_FALSE | CLK_ADDRESS_CLAMP_TO_EDGE | CLK_FILTER_NEAREST;

__kernel void InvertImage(__read_only image2d_t srcImage1, __read_only image2d_t srcImage2,
                          __write_only image2d_t dstImage) {
    size_t x = get_global_id(0);
    size_t y = get_global_id(1);
    size_t sx = get_global_size(0) / 2;
    float4 col;
    if (x < sx)
        col = read_imagef(srcImage1, srcSampler, (int2)(2 * x, y)) +
              read_imagef(srcImage1, srcSampler, (int2)(2 * x + 1, y));
    else
        col = read_imagef(srcImage2, srcSampler, (int2)(2 * (x - sx), y)) +
              read_imagef(srcImage2, srcSampler, (int2)(2 * (x - sx) + 1, y));
    col.xyz *= .5f;
    write_imagef(dstImage, (int2)(x, y), col);
}
