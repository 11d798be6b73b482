/* CRV: the version of these headers. The top-level CMakeLists.txt reads the three numbers from
 * here, so this is the one place the project's version is written. */
#ifndef CRV_VERSION_H
#define CRV_VERSION_H

#define CRV_VERSION_MAJOR 0
#define CRV_VERSION_MINOR 1
#define CRV_VERSION_PATCH 0

/* major * 10000 + minor * 100 + patch, one number to compare in preprocessor conditions. */
#define CRV_VERSION (CRV_VERSION_MAJOR * 10000 + CRV_VERSION_MINOR * 100 + CRV_VERSION_PATCH)

#endif
