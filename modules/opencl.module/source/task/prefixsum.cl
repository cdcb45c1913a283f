// Exclusive prefix sums of uint values, modulo 2^32, in blocks of 4 * WORKGROUP_SIZE elements a work-group.
//
// The module builds it with every choice of:
// -D WORKGROUP_SIZE: 64 128 256 512 1024 2048 4096
//     The size of every group of the first four kernels.
// -D PREFIX_SUM_ARRAY_SHIFT: 14
//     The binary logarithm of the elements in a chunk; at least that of a block.
// -D SERIAL_SCAN: 1 undefined
//     How a group scans its values. Defined: one work-item adds them up, for CPUs, which run the work-items
//     of a group in turn. Undefined: all take log2(size) steps with a barrier between them. No step relies
//     on work-items that run in lockstep.
//
// l_Data is local memory of 2 * WORKGROUP_SIZE elements.

#define LOG2_WARP_SIZE 5U
#define WARP_SIZE (1U << LOG2_WARP_SIZE)

// scan1Exclusive scans each run of `size` consecutive work-items by itself, size being a power of two and the
// same in the whole group; every work-item of the group takes part.
#ifdef SERIAL_SCAN

static inline uint scan1Exclusive(uint idata, __local uint* l_Data, uint size) {
    uint lid = get_local_id(0);
    l_Data[lid] = idata;
    barrier(CLK_LOCAL_MEM_FENCE);
    if (lid == 0) {
        uint sum = 0;
        for (uint i = 0; i < WORKGROUP_SIZE; i++) {
            uint value = l_Data[i];
            if ((i & (size - 1)) == 0) sum = 0;
            l_Data[i] = sum;
            sum += value;
        }
    }
    barrier(CLK_LOCAL_MEM_FENCE);
    return l_Data[lid];
}

#else

// Each run is preceded by `size` zeros.
static inline uint warpScanInclusive(uint idata, __local uint* l_Data, uint size) {
    uint lid = get_local_id(0);
    uint pos = 2 * lid - (lid & (size - 1));
    l_Data[pos] = 0;
    pos += size;
    l_Data[pos] = idata;
    uint result = idata;
    for (uint d = 1; d < size; d <<= 1) {
        barrier(CLK_LOCAL_MEM_FENCE);
        result += l_Data[pos - d];
        barrier(CLK_LOCAL_MEM_FENCE);
        l_Data[pos] = result;
    }
    // l_Data must not be reused while another work-item still reads it.
    barrier(CLK_LOCAL_MEM_FENCE);
    return result;
}

static inline uint warpScanExclusive(uint idata, __local uint* l_Data, uint size) {
    return warpScanInclusive(idata, l_Data, size) - idata;
}

// Runs above WARP_SIZE are the whole group, scanned in warps whose totals are scanned in turn.
static inline uint scan1Inclusive(uint idata, __local uint* l_Data, uint size) {
    if (size <= WARP_SIZE) return warpScanInclusive(idata, l_Data, size);
    uint lid = get_local_id(0);
    uint warpResult = warpScanInclusive(idata, l_Data, WARP_SIZE);
    if ((lid & (WARP_SIZE - 1)) == WARP_SIZE - 1) l_Data[lid >> LOG2_WARP_SIZE] = warpResult;
    barrier(CLK_LOCAL_MEM_FENCE);
    uint total = lid < WORKGROUP_SIZE / WARP_SIZE ? l_Data[lid] : 0;
    barrier(CLK_LOCAL_MEM_FENCE);
    uint before = warpScanExclusive(total, l_Data, size >> LOG2_WARP_SIZE);
    if (lid < WORKGROUP_SIZE / WARP_SIZE) l_Data[lid] = before;
    barrier(CLK_LOCAL_MEM_FENCE);
    return warpResult + l_Data[lid >> LOG2_WARP_SIZE];
}

static inline uint scan1Exclusive(uint idata, __local uint* l_Data, uint size) {
    return scan1Inclusive(idata, l_Data, size) - idata;
}

#endif

// scanExclusiveLocal1 scans each block: work-item gid has elements 4 * gid to 4 * gid + 3. size is
// 4 * WORKGROUP_SIZE. d_Dst and d_Src may be the same.
#ifdef SERIAL_SCAN

// One work-item does it in registers: values kept across barriers would be spilled to memory.
__kernel __attribute__((reqd_work_group_size(WORKGROUP_SIZE, 1, 1))) void scanExclusiveLocal1(
    __global uint4* d_Dst, __global uint4* d_Src, __local uint* l_Data, uint size) {
    if (get_local_id(0) != 0) return;
    size_t first = get_global_id(0);
    uint sum = 0;
    for (size_t i = first; i < first + size / 4; i++) {
        uint4 data = d_Src[i];
        data.y += data.x;
        data.z += data.y;
        data.w += data.z;
        d_Dst[i] = (uint4)(sum, sum + data.x, sum + data.y, sum + data.z);
        sum += data.w;
    }
}

#else

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

__kernel __attribute__((reqd_work_group_size(WORKGROUP_SIZE, 1, 1))) void scanExclusiveLocal1(
    __global uint4* d_Dst, __global uint4* d_Src, __local uint* l_Data, uint size) {
    size_t gid = get_global_id(0);
    d_Dst[gid] = scan4Exclusive(d_Src[gid], l_Data, size);
}

#endif

// Scans the totals of the blocks within each chunk of arrayLength blocks: work-item gid takes the total of
// block gid, which is the last sum of the block plus its last value. N is the number of blocks.
__kernel __attribute__((reqd_work_group_size(WORKGROUP_SIZE, 1, 1))) void scanExclusiveLocal2(
    __global uint* d_Buf, __global uint* d_Dst, __global uint* d_Src, __local uint* l_Data, uint N,
    uint arrayLength) {
    size_t gid = get_global_id(0);
    size_t last = (size_t)(4 * WORKGROUP_SIZE - 1) + (size_t)(4 * WORKGROUP_SIZE) * gid;
    uint data = 0;
    if (gid < N) data = d_Dst[last] + d_Src[last];
    uint odata = scan1Exclusive(data, l_Data, arrayLength);
    if (gid < N) d_Buf[gid] = odata;
}

// Adds to each block of four elements a work-item the sum of the blocks before it in its chunk.
__kernel __attribute__((reqd_work_group_size(WORKGROUP_SIZE, 1, 1))) void uniformUpdate1(
    __global uint4* idata, __global uint* d_buf) {
    __local uint buf[1];
    size_t gid = get_global_id(0);
    if (get_local_id(0) == 0) buf[0] = d_buf[get_group_id(0)];
    barrier(CLK_LOCAL_MEM_FENCE);
    // The first block of a chunk, often the only one, gets nothing added: its memory is not touched.
    if (buf[0] != 0) idata[gid] += (uint4)(buf[0]);
}

// The same, with the result written as (sum, value) pairs.
__kernel __attribute__((reqd_work_group_size(WORKGROUP_SIZE, 1, 1))) void uniformUpdate2(
    __global uint4* idata, __global uint* d_buf, __global uint4* srcdata, __global uint4* destdata) {
    __local uint buf[1];
    size_t gid = get_global_id(0);
    if (get_local_id(0) == 0) buf[0] = d_buf[get_group_id(0)];
    barrier(CLK_LOCAL_MEM_FENCE);
    uint4 data = idata[gid] + (uint4)(buf[0]);
    uint4 src = srcdata[gid];
    destdata[2 * gid] = (uint4)(data.x, src.x, data.y, src.y);
    destdata[2 * gid + 1] = (uint4)(data.z, src.z, data.w, src.w);
}

// The kernels below take one element a work-item and any local size.

__kernel void mergeResult(__global uint2* result, __global uint* sum_data, __global uint* count_data) {
    size_t gid = get_global_id(0);
    result[gid] = (uint2)(sum_data[gid], count_data[gid]);
}

// The total of each chunk of scale elements.
__kernel void buildNextBuffer(__global uint* dest, __global uint* sumbuffer, __global uint* countbuffer,
                              uint scale) {
    size_t gid = get_global_id(0);
    size_t r = (gid + 1) * scale - 1;
    dest[gid] = sumbuffer[r] + countbuffer[r];
}

// Adds the sum of the chunks before an element's own. A group within one chunk adds a single value, which
// CPUs vectorize.
__kernel void addLevel1(__global uint* restrict dest, __global const uint* restrict sumbuffer) {
    size_t gid = get_global_id(0);
    size_t first = gid - get_local_id(0);
    size_t chunk = first >> PREFIX_SUM_ARRAY_SHIFT;
    if ((first + get_local_size(0) - 1) >> PREFIX_SUM_ARRAY_SHIFT == chunk)
        dest[gid] += sumbuffer[chunk];
    else
        dest[gid] += sumbuffer[gid >> PREFIX_SUM_ARRAY_SHIFT];
}

__kernel void addLevel2(__global uint* sumbuffer1, __global uint* sumbuffer2, __global uint2* dest,
                        __global uint* count) {
    size_t gid = get_global_id(0);
    dest[gid] = (uint2)(sumbuffer1[gid] + sumbuffer2[gid >> PREFIX_SUM_ARRAY_SHIFT], count[gid]);
}
