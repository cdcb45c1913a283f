// Advance the CRC-32C register crc[0] by the first bufferSize bytes of a buffer; a bufferSize of 0 or less
// leaves it as it is. crctable has the register after each byte's eight steps (256 entries).
//
// Over GF(2), squaring a polynomial only spreads its terms apart: P(x) to the power n is P(x^n), n being a
// power of two. A multiple of the register's polynomial P leaves the register alone, so that a long message
// is divided in blocks of n bits as if each block were one bit: by an exclusive or of whole blocks for each
// term of P. What remains are 32 blocks, which are divided again in words of 32 bits, and then 32 words,
// which go through the table. Dividing by multiples of P that need no table is the idea of S. Russell,
// "Chorba: A novel CRC32 implementation", 2024.
//
// The module builds it with either choice of:
// -D LANES: 2 8
//     The words of a block, a power of two: as many as a vector register of a processor holds, or so few that
//     a GPU's work-item keeps 32 blocks in registers.

// A device without images may not know the type.
#if defined(__IMAGE_SUPPORT__) && (__OPENCL_C_VERSION__ < 300 || defined(__opencl_c_images))
__constant sampler_t srcSampler =
    CLK_NORMALIZED_COORDS_FALSE | CLK_ADDRESS_CLAMP_TO_EDGE | CLK_FILTER_NEAREST;
#endif

// P without x^32, bit 31 being the coefficient of x^0.
#define POLYNOMIAL 0x82F63B78u
#define DEGREE 32

#if LANES == 8
typedef uint8 Block;
#define LOAD vload8
#define STORE vstore8
#else
typedef uint2 Block;
#define LOAD vload2
#define STORE vstore2
#endif
// In bytes, what one iteration takes.
#define ROUND (DEGREE * LANES * 4)
// Below this size, which is at least ROUND, the table is as fast.
#define DIVIDED_SIZE 1024

// What the quotient before its element j adds to that: P has the terms x^(32 - distance). The nearest comes
// last, as the others do not have to wait for it. `Q(j, distance)` is an element of the quotient.
#define SUM(Q, j)                                                                                       \
    (Q(j, 32) ^ Q(j, 26) ^ Q(j, 24) ^ Q(j, 23) ^ Q(j, 22) ^ Q(j, 21) ^ Q(j, 19) ^ Q(j, 18) ^ Q(j, 14) ^ \
     Q(j, 13) ^ Q(j, 12) ^ Q(j, 10) ^ Q(j, 9) ^ Q(j, 7) ^ Q(j, 6) ^ Q(j, 5) ^ Q(j, 4))
#define BLOCK_BEFORE(j, distance) quotient[(j + DEGREE - distance) % DEGREE]
#define WORD_BEFORE(j, distance) words[j - distance]

// Unrolled by hand, as not every compiler does it: the quotient then stays in registers.
#define REPEAT8(step, j) \
    step(j) step(j + 1) step(j + 2) step(j + 3) step(j + 4) step(j + 5) step(j + 6) step(j + 7)
#define REPEAT32(step) REPEAT8(step, 0) REPEAT8(step, 8) REPEAT8(step, 16) REPEAT8(step, 24)
#define DIVIDE(j) quotient[j] = LOAD(j, source) ^ SUM(BLOCK_BEFORE, j);
// The last 32 blocks become the remainder and have no quotient.
#define KEEP_REST(j)                                                  \
    STORE(LOAD(j, source) ^ SUM(BLOCK_BEFORE, j), j, words + DEGREE); \
    quotient[j] = 0;

static uint Step(__global const uint* crctable, uint c, uchar byte) {
    return crctable[(c ^ byte) & 0xff] ^ (c >> 8);
}

// size is a multiple of ROUND and not 0; bytes is aligned to 4.
static uint Divide(__global const uint* crctable, __global const uchar* bytes, int size, uint c) {
    __global const uint* source = (__global const uint*)bytes;
    Block quotient[DEGREE];
    for (int j = 0; j < DEGREE; j++) quotient[j] = 0;
    // The register is added to the message's first four bytes, whatever the device's byte order.
    quotient[0].s0 = as_uint((uchar4)((uchar)c, (uchar)(c >> 8), (uchar)(c >> 16), (uchar)(c >> 24)));
    for (int left = size; left > ROUND; left -= ROUND) {
        REPEAT32(DIVIDE)
        source += ROUND / 4;
    }
    uint words[DEGREE * (1 + LANES)];
    REPEAT32(KEEP_REST)
    for (int j = 0; j < DEGREE; j++) words[j] = 0;
    int last = DEGREE * LANES;
    for (int j = DEGREE; j < last; j++) words[j] ^= SUM(WORD_BEFORE, j);
    c = 0;
    for (int j = last; j < last + DEGREE; j++) {
        uchar4 rest = as_uchar4(words[j] ^ SUM(WORD_BEFORE, j));
        words[j] = 0;
        c = Step(crctable, c, rest.x);
        c = Step(crctable, c, rest.y);
        c = Step(crctable, c, rest.z);
        c = Step(crctable, c, rest.w);
    }
    return c;
}

static uint Advance(__global const uint* crctable, __global const uchar* bytes, int size, uint c) {
    int i = 0;
    // Host memory that is used in place may begin anywhere.
    if (size >= DIVIDED_SIZE && ((size_t)bytes & 3) == 0) {
        i = size & ~(ROUND - 1);
        c = Divide(crctable, bytes, i, c);
    }
    for (; i < size; i++) c = Step(crctable, c, bytes[i]);
    return c;
}

// a * b modulo P.
static uint Multiply(uint a, uint b) {
    uint product = 0;
    for (; a != 0; a <<= 1) {
        product ^= b & (0 - (a >> 31));
        b = (b >> 1) ^ (POLYNOMIAL & (0 - (b & 1)));
    }
    return product;
}

// The register after so many bytes of 0: c * x^(8 * count).
static uint AdvanceZeros(uint c, uint count) {
    uint power = 0x00800000;  // x^8
    for (; count != 0; count >>= 1) {
        if ((count & 1) != 0) c = Multiply(c, power);
        power = Multiply(power, power);
    }
    return c;
}

// One work-item: global size 1, any local size.
__kernel void CalculateCRC(__global const uint* crctable, __global const uchar* buffer, int bufferSize,
                           __global uint* crc) {
    crc[0] = Advance(crctable, buffer, bufferSize, crc[0]);
}

// A work-item for each part of partSize bytes, the last of which may be shorter; any local size. parts
// receives the register after the part and zeros up to the buffer's end, from a register of 0. partSize is a
// multiple of 4.
__kernel void CalculateParts(__global const uint* crctable, __global const uchar* buffer, int bufferSize,
                             int partSize, __global uint* parts) {
    size_t gid = get_global_id(0);
    int begin = (int)gid * partSize;
    int size = min(partSize, bufferSize - begin);
    uint c = Advance(crctable, buffer + begin, size, 0);
    parts[gid] = AdvanceZeros(c, (uint)(bufferSize - begin - size));
}

// One work-item, after CalculateParts: the register is linear in the message and in where it begins.
__kernel void JoinParts(__global const uint* parts, int count, int bufferSize, __global uint* crc) {
    uint c = AdvanceZeros(crc[0], (uint)bufferSize);
    for (int i = 0; i < count; i++) c ^= parts[i];
    crc[0] = c;
}
