/* CRV: the curve record, result codes, handle tags, the message table and the library frame. */
#ifndef CRV_CURVE_H
#define CRV_CURVE_H

#include <stdint.h>

/* Windows builds link libcrv statically (CRV_SHARED=OFF), so nothing is exported there. */
#if defined(_WIN32)
#define CRV_API
#elif defined(__GNUC__) || defined(__clang__)
#define CRV_API __attribute__((visibility("default")))
#else
#define CRV_API
#endif

#ifdef __cplusplus
extern "C" {
#endif

/* One cubic Bezier segment of `dims` coordinates per point:
 *   B(t) = P0 (1-t)^3 + 3 P1 (1-t)^2 t + 3 P2 (1-t) t^2 + P3 t^3,  t in [0, 1].
 * ctpts[i] points to the `dims` coordinates of Pi. A record with dims <= 0 is empty: evaluation
 * writes nothing for it. A function curve is a record of dims >= 2 whose coordinate 0 is the time
 * x and coordinate 1 the value y. The caller owns the record and its arrays. */
typedef struct CRV_Curve {
  int16_t dims;
  double* ctpts[4];
} CRV_Curve;

enum {
  CRV_ErrNone = 0,
  CRV_ErrBadRecord = 2,   /* a parameter record is null or lacks its check word */
  CRV_ErrOutOfMemory = 4  /* a temporary host handle could not be allocated */
};

/* Type tags of the handles the library asks the host for. */
#define CRV_TAG_CURVE 0x290002u
#define CRV_TAG_PARAM_VALUES 0x290015u

/* The layout of the message table is shared with the host's string service, field by field. */
typedef struct CRV_LStrEntry {
  const char* text;    /* "key=default text"; null in the end mark */
  uint64_t host[3];    /* the host's words: zero at load, written only by the host */
} CRV_LStrEntry;

typedef struct CRV_LStrTable {
  const char* shortName; /* "CRV" */
  uint64_t count;        /* 9: eight messages and the end mark */
  CRV_LStrEntry* entries;
  uint64_t reserved;     /* 0 */
} CRV_LStrTable;

/* Points at the library's message table from load on. Message 6 names curve handles, message 7
 * the temporary parameter-list handle of curve fitting; messages 0 to 5 are for the host. */
CRV_API extern CRV_LStrTable* const CRV_G_zref;

/* Start and end entry points for the host. They do nothing and return 0. */
CRV_API int32_t CRV_Birth(void);
CRV_API int32_t CRV_Death(void);

/* Looks up the curve-handle name, asks the host for a cleared curve-sized handle and frees it at
 * once: no curve is handed out and nothing is kept (callers build CRV_Curve records themselves).
 * Returns 0, also when the host has no memory. */
CRV_API int32_t CRV_NewCurve(void);

/* Reserved entry points: they read none of their arguments (any may be null), change nothing and
 * return 0. */
CRV_API int32_t CRV_CurveSetCtpts(CRV_Curve* curve, double* const* ctpts);
CRV_API int32_t CRV_DisposeCurve(CRV_Curve* curve);
CRV_API int32_t CRV_EvaluateByCurvature(const CRV_Curve* curve, double tolerance, void* out);

#ifdef __cplusplus
}
#endif

#endif
