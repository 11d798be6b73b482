/* A host's-eye tour of the plain C interface: a curve record, an arc-length table kept as a cache
 * beside the curve, lookups by time on an easing curve, and disposal of what the library made.
 *
 * Build against an installed package:
 *   cc -std=c99 host_tour.c $(pkg-config --cflags --libs crv) -lm -o host_tour */
#include <math.h>
#include <stdio.h>
#include <stdlib.h>

#include "crv/crv.h"

static int failures = 0;

/* Every call answers with a result code: 0, the library's own 2 or 4, or a host code. */
static void Check(int32_t code, const char* what) {
  if (code != CRV_ErrNone) {
    fprintf(stderr, "%s failed with code %d\n", what, (int)code);
    exit(1);
  }
}

static void Expect(int ok, const char* what) {
  if (!ok) {
    fprintf(stderr, "unexpected: %s\n", what);
    ++failures;
  }
}

/* A path the host animates along, with the arc-length table the library builds for it. The table
 * is a host list that the host owns: it is made on first use and must be dropped (and the handle
 * set back to NULL) whenever the control points change. */
typedef struct Path {
  double points[4][2];
  CRV_Curve record;
  SEQ_ListH arcTable; /* NULL: no table yet */
} Path;

static void PathInit(Path* path, const double points[4][2]) {
  int i;
  for (i = 0; i < 4; ++i) {
    path->points[i][0] = points[i][0];
    path->points[i][1] = points[i][1];
    path->record.ctpts[i] = path->points[i];
  }
  path->record.dims = 2;
  path->arcTable = NULL;
}

static void PathForgetTable(Path* path) {
  if (path->arcTable) Check(SEQ_Dispose(path->arcTable, 0), "SEQ_Dispose");
  path->arcTable = NULL;
}

/* Moving a control point invalidates the cached table. */
static void PathMovePoint(Path* path, int i, double x, double y) {
  path->points[i][0] = x;
  path->points[i][1] = y;
  PathForgetTable(path);
}

int main(void) {
  enum { kSamples = 64 };
  static const double arch[4][2] = {{0, 0}, {0, 100}, {100, 100}, {100, 0}};
  Path path;
  double point[2], lo[2], hi[2], length = 0, s = 0, t = 0;
  int k;

  PathInit(&path, arch);

  /* Evaluation and bounds need no host services at all. */
  Check(CRV_EvaluatePoint(&path.record, 0.5, point), "CRV_EvaluatePoint");
  Check(CRV_EvaluateBounds(&path.record, lo, hi), "CRV_EvaluateBounds");
  printf("B(0.5) = (%g, %g); bounds x [%g, %g], y [%g, %g]\n", point[0], point[1], lo[0], hi[0],
         lo[1], hi[1]);
  Expect(point[0] == 50 && point[1] == 75, "B(0.5) of the arch is (50, 75)");

  /* The table: built once, then every lookup reads it. */
  Check(CRV_BuildArcTable(&path.record, kSamples, &path.arcTable, &length), "CRV_BuildArcTable");
  printf("length %.4f from a table of %d samples\n", length, kSamples);
  Expect(path.arcTable != NULL, "the library created the table");
  Expect(length > 100 && length < 300,
         "the arch is longer than its chord (100), shorter than its control polygon (300)");

  /* Constant-speed motion: equal steps in distance, each turned into a parameter. */
  for (k = 0; k <= 4; ++k) {
    const double distance = length * k / 4;
    Check(CRV_TFromS(&path.record, distance, kSamples, &path.arcTable, &t), "CRV_TFromS");
    Check(CRV_EvaluatePoint(&path.record, t, point), "CRV_EvaluatePoint");
    Check(CRV_SFromT(&path.record, t, kSamples, &path.arcTable, &s), "CRV_SFromT");
    printf("  s = %8.3f -> t = %.4f -> (%7.3f, %7.3f), back to s = %8.3f\n", distance, t, point[0],
           point[1], s);
    Expect(fabs(s - distance) < 1e-6 * length, "s(t(s)) returns s on the table");
  }

  /* Editing the curve drops the cache; the next lookup with a NULL table builds a new one. */
  PathMovePoint(&path, 3, 100, 100);
  Check(CRV_SFromT(&path.record, 1.0, kSamples, &path.arcTable, &s), "CRV_SFromT");
  printf("after the edit the whole curve measures %.4f\n", s);
  Expect(path.arcTable != NULL, "the lookup rebuilt the table");
  Expect(fabs(s - length) > 1, "the rebuilt table measures the edited curve");

  /* A lookup by time on a function curve: an ease-in-out over one second, value 0 to 1. */
  {
    double p0[2] = {0, 0}, p1[2] = {0.42, 0}, p2[2] = {0.58, 1}, p3[2] = {1, 1};
    CRV_Curve ease = {2, {p0, p1, p2, p3}};
    double y = 0, slope = 0, average = 0;
    Check(CRV_EvaluateYFromX(&ease, 0.25, &y), "CRV_EvaluateYFromX");
    Check(CRV_Evaluate1dDerivFromX(&ease, 0.25, &slope), "CRV_Evaluate1dDerivFromX");
    Check(CRV_EvaluateYAverageFromXToX(&ease, 0, 1, &average), "CRV_EvaluateYAverageFromXToX");
    printf("ease-in-out at time 0.25: value %.5f, slope %.5f; mean value %.5f\n", y, slope,
           average);
    Expect(y > 0 && y < 0.25, "an ease-in lags behind linear time");
    Expect(fabs(average - 0.5) < 1e-12, "a symmetric ease averages to one half");
  }

  PathForgetTable(&path);
  if (failures) return 1;
  puts("host tour: ok");
  return 0;
}
