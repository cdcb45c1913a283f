// Exclusive prefix sums of uint values, modulo 2^32, on processors: the values are cut into strips, and one
// work-item adds a whole strip up. A strip has stripVectors vectors of eight values, the last one fewer; gid
// is the strip's number. Any local size.

// The total of each strip; global size: the strips but the last.
__kernel void sumStrips(__global uint* totals, __global const uint* values, uint stripVectors) {
    uint gid = get_global_id(0);
    uint8 sum = 0;
    for (uint i = gid * stripVectors; i < (gid + 1) * stripVectors; i++) sum += vload8(i, values);
    uint4 rest = sum.lo + sum.hi;
    totals[gid] = rest.x + rest.y + rest.z + rest.w;
}

static uint SumBefore(__global const uint* totals, uint strip) {
    uint sum = 0;
    for (uint i = 0; i < strip; i++) sum += totals[i];
    return sum;
}

// The sums before each of eight values; sum is the one before the first, and then the one before the next.
static uint8 Scan(uint8 values, uint* sum) {
    uint8 scanned = values;
    scanned += (uint8)(0, scanned.s0123, scanned.s456);
    scanned += (uint8)(0, 0, scanned.s0123, scanned.s45);
    scanned += (uint8)(0, 0, 0, 0, scanned.s0123);
    uint8 before = scanned - values + *sum;
    *sum += scanned.s7;
    return before;
}

// All strips, of `vectors` vectors together; global size: the strips. totals is not read for a single one.
__kernel void scanStrips(__global uint* sums, __global const uint* values, __global const uint* totals,
                         uint vectors, uint stripVectors) {
    uint gid = get_global_id(0);
    uint sum = SumBefore(totals, gid);
    uint end = min((gid + 1) * stripVectors, vectors);
    for (uint i = gid * stripVectors; i < end; i++) vstore8(Scan(vload8(i, values), &sum), i, sums);
}

// The same, with the result written as (sum, value) pairs.
__kernel void scanStripsToPairs(__global uint* pairs, __global const uint* values,
                                __global const uint* totals, uint vectors, uint stripVectors) {
    uint gid = get_global_id(0);
    uint sum = SumBefore(totals, gid);
    uint end = min((gid + 1) * stripVectors, vectors);
    for (uint i = gid * stripVectors; i < end; i++) {
        uint8 v = vload8(i, values);
        uint8 s = Scan(v, &sum);
        vstore8((uint8)(s.s0, v.s0, s.s1, v.s1, s.s2, v.s2, s.s3, v.s3), 2 * i, pairs);
        vstore8((uint8)(s.s4, v.s4, s.s5, v.s5, s.s6, v.s6, s.s7, v.s7), 2 * i + 1, pairs);
    }
}
