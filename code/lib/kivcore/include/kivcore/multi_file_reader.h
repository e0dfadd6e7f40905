// A reader over a sequence of files that belong together. As a stream it is the files joined end
// to end: a position is counted from the start of the first file, and a read continues into the
// next file. Files are numbered from 0; sizes are in bytes. Use a multi_file_reader from one
// thread at a time. kind() returns the kind of every reader; use dynamic_cast to find out whether
// a reader is also a multi_file_reader. Exceptions of the plug-in pass through.

#ifndef KIVCORE_MULTI_FILE_READER_H
#define KIVCORE_MULTI_FILE_READER_H

#include <string>

#include <kivcore/export.h>
#include <kivcore/reader.h>

namespace kivcore {

// Open it with a description of the sequence, for example a pattern of file names.
class KIVCORE_API multi_file_reader : public reader {
  public:
    ~multi_file_reader() override;

    // How many files there are; 0 while nothing is open.
    virtual unsigned int file_count() = 0;

    // A file's path; empty if there is no such file.
    virtual std::string file_path(unsigned int index) = 0;

    // A file's size; negative if there is no such file.
    virtual long long file_size(unsigned int index) = 0;

    // The file that contains the stream's position. Meaningless while nothing is open.
    virtual unsigned int current_file() = 0;

    // Moves the position to the start of a file. Returns 0 on success, negative if there is no
    // such file.
    virtual int select_file(unsigned int index) = 0;

  protected:
    multi_file_reader();
};

}  // namespace kivcore

#endif
