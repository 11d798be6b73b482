/* CRV: cubic Bezier curve mathematics, plain C interface.
 *
 * Every plain function takes curve records by pointer, writes its results through the caller's
 * pointers, arrays and lists, and returns a 32-bit result code: 0 on success, CRV_ErrBadRecord or
 * CRV_ErrOutOfMemory for the library's own failures, and any other value for a host code passed
 * back unchanged. Inputs are trusted: records, counts and lists are not validated unless stated.
 * The library keeps no state and no pointer after a call returns; any function may run on any
 * thread while others run, as long as callers do not share outputs or lists. */
#ifndef CRV_CRV_H
#define CRV_CRV_H

/* One header per family of functions; a host includes only this one. */
#include "crv/version.h"
#include "crv/curve.h"
#include "crv/evaluation.h"
#include "crv/function_curves.h"
#include "crv/arc_length.h"
#include "crv/fitting.h"
#include "crv/flattening.h"

#endif
