// Exclusive prefix sums of uint values, modulo 2^32, in blocks of 4 * WORKGROUP_SIZE elements a work-group;
// at most 2^31 elements.
//
// The module builds it with every choice of:
// -D WORKGROUP_SIZE: 64 128 256 512 1024 2048 4096
//     The size of every group of the first four kernels.
// -D PREFIX_SUM_ARRAY_SHIFT: 14
//     The binary logarithm of the elements in a chunk; at least that of a block.
//
// No step relies on work-items that run in lockstep.
//
// l_Data is local memory of 2 * WORKGROUP_SIZE elements.

#define LOG2_WARP_SIZE 5U
#define WARP_SIZE (1U << LOG2_WARP_SIZE)

// The functions scan each run of `size` consecutive work-items by itself, size being a power of two and the
// same in the whole group; every work-item of the group takes part.

// The two halves of l_Data take the steps in turn: what a step writes, nobody reads from the step before.
static inline uint warpScanInclusive(uint idata, __local uint* l_Data, uint size) {
    uint lid = get_local_id(0);
    uint r = lid & (size - 1);
    uint begin = 0;
    for (uint d = 1; d < size; d <<= 1) {
        l_Data[begin + lid] = idata;
        barrier(CLK_LOCAL_MEM_FENCE);
        if (r >= d) idata += l_Data[begin + lid - d];
        begin ^= WORKGROUP_SIZE;
    }
    return idata;
}

// Runs above WARP_SIZE are the whole group, scanned in warps. The totals of the warps are so few that a
// work-item for each adds up those before it, which takes a single barrier more.
static inline uint scan1Inclusive(uint idata, __local uint* l_Data, uint size) {
    if (size <= WARP_SIZE) return warpScanInclusive(idata, l_Data, size);
    uint lid = get_local_id(0);
    uint result = warpScanInclusive(idata, l_Data, WARP_SIZE);
    // The fifth and last step of a warp has read the first half.
    __local uint* totals = l_Data + WORKGROUP_SIZE;
    if ((lid & (WARP_SIZE - 1)) == WARP_SIZE - 1) totals[lid >> LOG2_WARP_SIZE] = result;
    barrier(CLK_LOCAL_MEM_FENCE);
    if (lid < WORKGROUP_SIZE / WARP_SIZE) {
        uint before = 0;
        for (uint i = 0; i < lid; i++) before += totals[i];
        l_Data[lid] = before;
    }
    barrier(CLK_LOCAL_MEM_FENCE);
    return result + l_Data[lid >> LOG2_WARP_SIZE];
}

static inline uint scan1Exclusive(uint idata, __local uint* l_Data, uint size) {
    return scan1Inclusive(idata, l_Data, size) - idata;
}

static inline uint4 scan4Inclusive(uint4 data4, __local uint* l_Data, uint size) {
    data4.y += data4.x;
    data4.z += data4.y;
    data4.w += data4.z;
    uint val = scan1Inclusive(data4.w, l_Data, size / 4) - data4.w;
    return data4 + val;
}

static inline uint4 scan4Exclusive(uint4 data4, __local uint* l_Data, uint size) {
    return scan4Inclusive(data4, l_Data, size) - data4;
}

// Scans each block: work-item gid has elements 4 * gid to 4 * gid + 3. size is 4 * WORKGROUP_SIZE. d_Dst and
// d_Src may be the same.
__kernel __attribute__((reqd_work_group_size(WORKGROUP_SIZE, 1, 1))) void scanExclusiveLocal1(
    __global uint4* d_Dst, __global uint4* d_Src, __local uint* l_Data, uint size) {
    uint gid = get_global_id(0);
    d_Dst[gid] = scan4Exclusive(d_Src[gid], l_Data, size);
}

// Scans the totals of the blocks within each chunk of arrayLength blocks: work-item gid takes the total of
// block gid, which is the last sum of the block plus its last value. N is the number of blocks.
__kernel __attribute__((reqd_work_group_size(WORKGROUP_SIZE, 1, 1))) void scanExclusiveLocal2(
    __global uint* d_Buf, __global uint* d_Dst, __global uint* d_Src, __local uint* l_Data, uint N,
    uint arrayLength) {
    uint gid = get_global_id(0);
    uint last = 4 * WORKGROUP_SIZE - 1 + 4 * WORKGROUP_SIZE * gid;
    uint data = 0;
    if (gid < N) data = d_Dst[last] + d_Src[last];
    uint odata = scan1Exclusive(data, l_Data, arrayLength);
    if (gid < N) d_Buf[gid] = odata;
}

// Adds to each block of four elements a work-item the sum of the blocks before it in its chunk.
__kernel __attribute__((reqd_work_group_size(WORKGROUP_SIZE, 1, 1))) void uniformUpdate1(
    __global uint4* idata, __global uint* d_buf) {
    uint sum = d_buf[get_group_id(0)];
    // The first block of a chunk, often the only one, gets nothing added: its memory is not touched.
    if (sum != 0) idata[get_global_id(0)] += (uint4)(sum);
}

// The same, with the result written as (sum, value) pairs.
__kernel __attribute__((reqd_work_group_size(WORKGROUP_SIZE, 1, 1))) void uniformUpdate2(
    __global uint4* idata, __global uint* d_buf, __global uint4* srcdata, __global uint4* destdata) {
    uint gid = get_global_id(0);
    uint4 data = idata[gid] + (uint4)(d_buf[get_group_id(0)]);
    uint4 src = srcdata[gid];
    destdata[2 * gid] = (uint4)(data.x, src.x, data.y, src.y);
    destdata[2 * gid + 1] = (uint4)(data.z, src.z, data.w, src.w);
}

// The kernels below take one element a work-item and any local size.

__kernel void mergeResult(__global uint2* result, __global uint* sum_data, __global uint* count_data) {
    uint gid = get_global_id(0);
    result[gid] = (uint2)(sum_data[gid], count_data[gid]);
}

// The total of each chunk of scale elements.
__kernel void buildNextBuffer(__global uint* dest, __global uint* sumbuffer, __global uint* countbuffer,
                              uint scale) {
    uint gid = get_global_id(0);
    uint r = (gid + 1) * scale - 1;
    dest[gid] = sumbuffer[r] + countbuffer[r];
}

// Adds the sum of the chunks before an element's own.
__kernel void addLevel1(__global uint* restrict dest, __global const uint* restrict sumbuffer) {
    uint gid = get_global_id(0);
    dest[gid] += sumbuffer[gid >> PREFIX_SUM_ARRAY_SHIFT];
}

__kernel void addLevel2(__global uint* sumbuffer1, __global uint* sumbuffer2, __global uint2* dest,
                        __global uint* count) {
    uint gid = get_global_id(0);
    dest[gid] = (uint2)(sumbuffer1[gid] + sumbuffer2[gid >> PREFIX_SUM_ARRAY_SHIFT], count[gid]);
}
