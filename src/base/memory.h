#ifndef TVL_BASE_MEMORY_H
#define TVL_BASE_MEMORY_H

// Owned texts and arrays, allocated with malloc. If memory runs out, these functions throw std::bad_alloc,
// which the public operations convert to their codes, and leave the old text or array unchanged.

// Frees `block` if it is not null. Always returns null, so that a caller can clear its pointer with the
// result.
void* SafeFree(void* block);

// Returns a new copy of the text, or a new empty text for null.
char* StrDup(const char* text);

// Returns a copy of `text` and frees `old`. Either may be null.
char* StrReplace(char* old, const char* text);

// Extends an array by `chunk` zeroed elements if `count` is a multiple of `chunk`. Returns the array to use.
void* GrowArray(void* array, int count, unsigned int elementSize, unsigned int chunk);

// Resizes an array to `newCount` elements; new elements are zeroed. Shrinking zeroes the removed elements,
// but keeps the memory. Allocates a null `array`. Returns the array to use.
void* ResizeArray(void* array, unsigned int oldCount, int newCount, unsigned int elementSize);

#endif
