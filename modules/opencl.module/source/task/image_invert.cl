// Each work-item inverts the colour of one pixel, leaving its alpha: pixel (x, y) of dstImage becomes that of
// srcImage. Its indices are the pixel's coordinates, so a launch over a rectangle has the rectangle's corner
// as global offset and its size as global size. No local memory, any local size.

__constant sampler_t srcSampler =
    CLK_NORMALIZED_COORDS_FALSE | CLK_ADDRESS_CLAMP_TO_EDGE | CLK_FILTER_NEAREST;

__kernel void InvertImage(__read_only image2d_t srcImage, __write_only image2d_t dstImage) {
    size_t x = get_global_id(0);
    size_t y = get_global_id(1);
    int2 coord = (int2)(x, y);
    float4 col = read_imagef(srcImage, srcSampler, coord);
    col.xyz = (float3)(1.0f) - col.xyz;
    write_imagef(dstImage, coord, col);
}
