// Texts of values. Any thread may call these. All raise std::bad_alloc when memory runs out.

#ifndef MORBASE_TEXT_H
#define MORBASE_TEXT_H

#include <string>

#include <morbase/export.h>
#include <morbase/timecode.h>

namespace morbase {

// Formats as printf does, with the decimal point of the calling thread's locale. format is
// not null; the compiler checks the arguments against it. Raises es::call when the platform
// cannot format them, for example because the text would have more than 2^31 - 1 bytes.
MORBASE_API std::string string_with_format(char const* format, ...)
    __attribute__((format(printf, 1, 2)));

// The four characters of a code, most significant byte first. A byte outside
// 0x20..0x7e is shown as `unprintable`: 0x57415645 is "WAVE" on every machine.
MORBASE_API std::string string_with_fourcc(unsigned int code, char unprintable);

// hh:mm:ss:ff, with ";" before the frames when the timecode drops frames; without
// with_frames only hh:mm:ss. A field of more than two digits is printed in full.
MORBASE_API std::string string_with_timecode(timecode const& time, bool with_frames);

// count bytes in Base64, as of RFC 4648 with padding and without line breaks: four
// characters for every three bytes begun. bytes may be null when count is 0.
MORBASE_API std::string string_encode_base64(unsigned char const* bytes, unsigned long long count);

}  // namespace morbase

#endif
