#ifndef TVL_BASE_NUMBERS_H
#define TVL_BASE_NUMBERS_H

// Numbers and addresses as texts.

// The first `width` digits of a dotted number, so that every field has the same scale: points are passed
// over, any other character ends it, what is missing counts as 0 on the right. `width` above 31 counts as 31.
// A value beyond 32 bits becomes the greatest int.
int NumericField(const char* text, unsigned int width);

// |major| * 1000000 + |minor|.
int VersionTotal(int major, int minor);

// A dotted address as 8 hexadecimal digits. `output`: room for 9. 1 if the text, of which 31 characters
// count, has exactly four parts from 0 to 255; else 0 and "00000000".
int IpToHex(const char* text, char* output);

// 8 hexadecimal digits as a dotted address. `output`: room for 16, and may be `hex` itself. Always 1.
int HexToIp(char* output, const char* hex);

#endif
