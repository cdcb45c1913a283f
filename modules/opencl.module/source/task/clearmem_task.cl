// Each work-item writes one element of mem, sixteen bytes or one. Its index s counts through all three
// dimensions, so that a range can be cut into launches of any shape. No local memory, any local size; the
// launches must cover just the elements to write.

__kernel void ClearMem16_0(__global uint4* mem) {
    size_t s =
        get_global_id(0) + get_global_size(0) * (get_global_id(1) + get_global_id(2) * get_global_size(1));
    mem[s] = (uint4)(0u);
}

__kernel void ClearMem1_0(__global uchar* mem) {
    size_t s =
        get_global_id(0) + get_global_size(0) * (get_global_id(1) + get_global_id(2) * get_global_size(1));
    mem[s] = 0u;
}

__kernel void ClearMem16_v(__global uint4* mem, uint4 val) {
    size_t s =
        get_global_id(0) + get_global_size(0) * (get_global_id(1) + get_global_id(2) * get_global_size(1));
    mem[s] = val;
}

__kernel void ClearMem1_v(__global uchar* mem, uchar val) {
    size_t s =
        get_global_id(0) + get_global_size(0) * (get_global_id(1) + get_global_id(2) * get_global_size(1));
    mem[s] = val;
}
