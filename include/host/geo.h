/* Host math services: vectors, the 3-D to screen transform and plane equations. The structs are
 * C-compatible; the vector templates exist for C++ only. */
#ifndef HOST_GEO_H
#define HOST_GEO_H

#include <stdint.h>

#include "host_api.h"

/* Failure code of the point transform: a point at or behind the eye (w <= 0), or not finite. */
#define GEO_ERR_BEHIND_EYE (-3201)
#define GEO_ERR_BAD_ARGUMENT (-3202) /* a null transform or point array, or a negative count */

/* A 4x4 transform, row-major, acting on column vectors: p' = M (x, y, z, 1). */
typedef struct HS_TYPE_API GEO_Matrix4 {
  double m[4][4];
} GEO_Matrix4;

/* The plane a x + b y + c z + d = 0. */
typedef struct HS_TYPE_API GEO_PlaneEq {
  double a, b, c, d;
} GEO_PlaneEq;

HS_EXTERN_C_BEGIN

/* Transforms `count` points (x, y, z consecutive) in place and divides by w. Fails with
 * GEO_ERR_BEHIND_EYE, leaving every point as it was, when any point has w <= 0. */
HS_API int32_t GEO_Transform3DFloatPoints(const GEO_Matrix4* transform, int32_t count,
                                          double* xyz);

HS_EXTERN_C_END

#ifdef __cplusplus
template <typename T>
struct HS_API GEO_Vector2T {
  T x, y;

  GEO_Vector2T operator+(const GEO_Vector2T& o) const { return {x + o.x, y + o.y}; }
  GEO_Vector2T operator-(const GEO_Vector2T& o) const { return {x - o.x, y - o.y}; }
  GEO_Vector2T operator*(T s) const { return {x * s, y * s}; }
  bool operator==(const GEO_Vector2T& o) const { return x == o.x && y == o.y; }
  bool operator!=(const GEO_Vector2T& o) const { return !(*this == o); }
};

template <typename T>
struct HS_API GEO_Vector3T {
  T x, y, z;

  GEO_Vector3T operator+(const GEO_Vector3T& o) const { return {x + o.x, y + o.y, z + o.z}; }
  GEO_Vector3T operator-(const GEO_Vector3T& o) const { return {x - o.x, y - o.y, z - o.z}; }
  GEO_Vector3T operator*(T s) const { return {x * s, y * s, z * s}; }
  bool operator==(const GEO_Vector3T& o) const { return x == o.x && y == o.y && z == o.z; }
  bool operator!=(const GEO_Vector3T& o) const { return !(*this == o); }
};
#endif

#endif
