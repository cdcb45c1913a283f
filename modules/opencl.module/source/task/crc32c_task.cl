// One work-item walks the buffer's bytes in order and advances the CRC-32C register crc[0]: global size 1,
// any local size. crctable has the register after each byte's eight steps (256 entries). A bufferSize of 0 or
// less leaves the register as it is.
//
// The module builds it with either choice of:
// -D SMALL_LOCAL_MEMORY: undefined 1
//     Defined where a device's local memory does not hold the tables for eight bytes at once, 8 KiB: bytes
//     are then taken one by one.

// A device without images may not know the type.
#if defined(__IMAGE_SUPPORT__) && (__OPENCL_C_VERSION__ < 300 || defined(__opencl_c_images))
__constant sampler_t srcSampler =
    CLK_NORMALIZED_COORDS_FALSE | CLK_ADDRESS_CLAMP_TO_EDGE | CLK_FILTER_NEAREST;
#endif

#ifndef SMALL_LOCAL_MEMORY

// Below this size the tables for eight bytes at once cost more than they save.
#define SLICED_SIZE 16384
// Bytes of one iteration. Some devices end a work-item's loops after 65535 iterations in all: 8 MB.
#define STEP 128

// The register after eight more bytes. slices[k * 256 + b] is the register after byte b and k zero bytes.
static uint Advance8(__global const uchar* bytes, uint c, __local const uint* slices) {
    uint low = c ^ ((uint)bytes[0] | (uint)bytes[1] << 8 | (uint)bytes[2] << 16 | (uint)bytes[3] << 24);
    return slices[7 * 256 + (low & 0xff)] ^ slices[6 * 256 + ((low >> 8) & 0xff)] ^
           slices[5 * 256 + ((low >> 16) & 0xff)] ^ slices[4 * 256 + (low >> 24)] ^
           slices[3 * 256 + bytes[4]] ^ slices[2 * 256 + bytes[5]] ^ slices[256 + bytes[6]] ^
           slices[bytes[7]];
}

// Unrolled by hand, as not every compiler does it.
static uint Advance32(__global const uchar* bytes, uint c, __local const uint* slices) {
    c = Advance8(bytes, c, slices);
    c = Advance8(bytes + 8, c, slices);
    c = Advance8(bytes + 16, c, slices);
    return Advance8(bytes + 24, c, slices);
}

static uint Advance128(__global const uchar* bytes, uint c, __local const uint* slices) {
    c = Advance32(bytes, c, slices);
    c = Advance32(bytes + 32, c, slices);
    c = Advance32(bytes + 64, c, slices);
    return Advance32(bytes + 96, c, slices);
}

// count is a multiple of STEP. Not static: PoCL 3.1 gives wrong values where this function, Advance128 and
// Advance32 all are.
uint AdvanceSliced(__global const uint* crctable, __global const uchar* buffer, int count, uint c,
                   __local uint* slices) {
    for (int b = 0; b < 256; b++) {
        uint value = crctable[b];
        slices[b] = value;
        for (int k = 1; k < 8; k++) {
            value = crctable[value & 0xff] ^ (value >> 8);
            slices[k * 256 + b] = value;
        }
    }
    for (int i = 0; i < count; i += STEP) c = Advance128(buffer + i, c, slices);
    return c;
}

#endif

__kernel void CalculateCRC(__global const uint* crctable, __global const uchar* buffer, int bufferSize,
                           __global uint* crc) {
    uint c = crc[0];
    int i = 0;
#ifndef SMALL_LOCAL_MEMORY
    __local uint slices[8 * 256];
    if (bufferSize >= SLICED_SIZE) {
        i = bufferSize & ~(STEP - 1);
        c = AdvanceSliced(crctable, buffer, i, c, slices);
    }
#endif
    for (; i < bufferSize; i++) c = crctable[(c ^ buffer[i]) & 0xff] ^ (c >> 8);
    crc[0] = c;
}
