// Values as texts. Any thread may call these functions. All raise std::bad_alloc if memory runs
// out.

#ifndef MORBASE_TEXT_H
#define MORBASE_TEXT_H

#include <string>

#include <morbase/export.h>
#include <morbase/timecode.h>

namespace morbase {

// Formats as printf does, with the decimal point of the calling thread's locale. format must not
// be null; the compiler checks the arguments against it. Raises es::call if the platform cannot
// format them, for example because the text would be longer than 2^31 - 1 bytes.
MORBASE_API std::string string_with_format(char const* format, ...)
    __attribute__((format(printf, 1, 2)));

// The four characters of a code, most significant byte first: 0x57415645 is "WAVE" on every
// machine. A byte outside 0x20..0x7e becomes `unprintable`.
MORBASE_API std::string string_with_fourcc(unsigned int code, char unprintable);

// hh:mm:ss:ff, or hh:mm:ss;ff if the timecode drops frames. Without with_frames, hh:mm:ss. A
// field of more than two digits is printed in full.
MORBASE_API std::string string_with_timecode(timecode const& time, bool with_frames);

// count bytes in Base64 (RFC 4648), with padding and without line breaks. bytes may be null if
// count is 0.
MORBASE_API std::string string_encode_base64(unsigned char const* bytes, unsigned long long count);

}  // namespace morbase

#endif
