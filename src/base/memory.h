#ifndef TVL_BASE_MEMORY_H
#define TVL_BASE_MEMORY_H

// Owned texts and arrays of the data model, on the heap of malloc and free. Where memory runs out these
// functions throw std::bad_alloc, which the public operations turn into their codes; the old text or array is
// still there then.

// Frees `block` if it isn't null. Always null, so that a caller clears its pointer with the result.
void* SafeFree(void* block);

// A new copy of the text; for null a new empty text.
char* StrDup(const char* text);

// A copy of `text` in the place of `old`, which is freed. Either may be null.
char* StrReplace(char* old, const char* text);

// Gives an array room for `chunk` more elements whenever `count` has reached a multiple of `chunk`; they are
// zero. Result: the array to use.
void* GrowArray(void* array, int count, unsigned int elementSize, unsigned int chunk);

// Resizes an array exactly; new elements are zero. Shrinking zeroes what goes and keeps the room. A null
// `array` is allocated, `newCount` elements. Result: the array to use.
void* ResizeArray(void* array, unsigned int oldCount, int newCount, unsigned int elementSize);

#endif
