#ifndef TVL_BASE_NUMBERS_H
#define TVL_BASE_NUMBERS_H

// Conversions between numbers, addresses and texts.

// Returns the first `width` digits of a dotted number, so that all fields have the same scale. Ignores
// points, stops at any other character, and appends zeros if there are fewer digits. A `width` above 31
// counts as 31. A value beyond 32 bits becomes the largest int.
int NumericField(const char* text, unsigned int width);

// Returns |major| * 1000000 + |minor|.
int VersionTotal(int major, int minor);

// Converts a dotted address to 8 hexadecimal digits. `output` is a buffer of 9 bytes. Uses at most 31
// characters of the text. Returns 1 if it has exactly four parts from 0 to 255, else 0 with "00000000".
int IpToHex(const char* text, char* output);

// Converts 8 hexadecimal digits to a dotted address. `output` is a buffer of 16 bytes and may be `hex`
// itself. Always returns 1.
int HexToIp(char* output, const char* hex);

#endif
