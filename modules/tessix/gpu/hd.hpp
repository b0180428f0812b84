// Functions marked VEXA_HD run on the GPU and on the host: nvcc compiles
// them for both sides, a plain C++ compiler sees ordinary inline functions,
// so the unit tests exercise the very code the kernels run.
#pragma once

#ifdef __CUDACC__
#define VEXA_HD __host__ __device__ inline
#else
#define VEXA_HD inline
#endif
