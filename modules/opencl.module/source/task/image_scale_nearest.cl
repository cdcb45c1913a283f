// Each work-item copies one pixel of a scaled rectangle: pixel (x, y) of the rectangle at off.zw in dstImage
// becomes the source pixel nearest to (x, y) times scale from off.xy on; a mirrored axis has a negative
// scale. Its indices are the pixel's coordinates in the rectangle. No local memory, any local size.

__constant sampler_t srcSampler =
    CLK_NORMALIZED_COORDS_FALSE | CLK_ADDRESS_CLAMP_TO_EDGE | CLK_FILTER_NEAREST;

__kernel void ScaleNearest(__read_only image2d_t srcImage, __write_only image2d_t dstImage, const int4 off,
                           const float2 scale) {
    size_t x = get_global_id(0);
    size_t y = get_global_id(1);
    int2 destcoord = (int2)(x, y) + off.zw;
    int2 srccoord = (int2)((float)x * scale.x + .5f, (float)y * scale.y + .5f) + off.xy;
    write_imagef(dstImage, destcoord, read_imagef(srcImage, srcSampler, srccoord));
}
