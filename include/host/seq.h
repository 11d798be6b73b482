/* Host list container: growable lists of fixed-size items, referred to by handle. */
#ifndef HOST_SEQ_H
#define HOST_SEQ_H

#include <stdint.h>

#include "hs.h"

/* Failure codes of the list container (never 2 or 4). */
#define SEQ_ERR_NULL_LIST (-3101)    /* a null list handle, or a null handle variable in SEQ_New */
#define SEQ_ERR_BAD_INDEX (-3102)    /* an index outside the list (or -1 on an empty list) */
#define SEQ_ERR_BAD_COUNT (-3103)    /* a negative item count */
#define SEQ_ERR_LOCKED (-3104)       /* growing, shrinking or disposing of a locked list */
#define SEQ_ERR_NOT_LOCKED (-3105)   /* unlocking an unlocked list, or an address of one */
#define SEQ_ERR_NO_MEMORY (-3106)    /* the list could not grow */
#define SEQ_ERR_BAD_ARGUMENT (-3107) /* a non-positive item size or a null item pointer */

/* The block a list handle leads to. Callers may read the count and item size and, while the
 * list is locked, read and write items in place. The block may move when the list grows. */
#define SEQ_BLOCK_COUNT_OFFSET 16     /* int32_t: number of items */
#define SEQ_BLOCK_ITEM_SIZE_OFFSET 24 /* int32_t: bytes per item */
#define SEQ_BLOCK_ITEMS_OFFSET 72     /* items, contiguous, in index order */

typedef HS_Handle SEQ_ListH;

/* Three-way comparison of two items: negative, zero or positive as a is less than, equal to or
 * greater than b. The host passes its own values in the first two arguments. */
typedef int32_t (*SEQ_CompareFunc)(void* refcon, int32_t flags, const void* a, const void* b);

HS_EXTERN_C_BEGIN

/* Creates an empty list of items of `itemSize` bytes and stores its handle in *out. `growBy` is a
 * hint for how many items to add room for at a time; flags and `one` are reserved. */
HS_API int32_t SEQ_New(int32_t flags, int32_t itemSize, int32_t growBy, int32_t one,
                       SEQ_ListH* out);

/* Installs a block of `count` function pointers with the list (the host's, not read by it). */
HS_API int32_t SEQ_SetFuncs(SEQ_ListH list, int32_t count, void* const* funcs);

/* Sets the number of items: shrinking keeps the first ones, growing appends zeroed items. */
HS_API int32_t SEQ_SetNumItems(int32_t count, SEQ_ListH list, int32_t flags);

/* Overwrites the existing item `index` with a copy of the item data. */
HS_API int32_t SEQ_SetItem(const void* item, int32_t index, SEQ_ListH list, int32_t reserved1,
                           int32_t reserved2);

/* Inserts a copy of the item data before item `index`; -1 (or the item count) appends. */
HS_API int32_t SEQ_Insert(const void* item, int32_t index, SEQ_ListH list);

/* Copies item `index` (-1: the last) into `out`. */
HS_API int32_t SEQ_GetItem(SEQ_ListH list, int32_t index, void* out);

/* Binary search of a list in ascending order of `compare` for `key`. On a match *found is set
 * non-zero, the item is copied into `out` and *index is its position; otherwise *found is 0 and
 * *index is the position of the first item greater than the key (the count when none is). */
HS_API int32_t SEQ_GetSortedItem(SEQ_ListH list, SEQ_CompareFunc compare, int32_t flags,
                                 const void* key, uint8_t* found, void* out, int32_t* index);

/* Pins the list's block so its items may be used in place; locks nest. While locked, the list
 * cannot grow, shrink or be disposed of. */
HS_API int32_t SEQ_Lock(int32_t one, SEQ_ListH list);
HS_API int32_t SEQ_Unlock(SEQ_ListH list);

/* Stores the address of item `index` of a locked list. */
HS_API int32_t SEQ_GetAddress(SEQ_ListH list, int32_t index, int32_t reserved, void** address);

/* Frees the list and its items. */
HS_API int32_t SEQ_Dispose(SEQ_ListH list, int32_t flags);

HS_EXTERN_C_END

#endif
