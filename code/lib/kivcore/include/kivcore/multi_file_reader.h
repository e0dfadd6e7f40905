// A reader over a row of files that belong together. As a stream it is the files
// end to end: a position is counted from the start of the first one, and a read goes on
// into the next file. Files are counted from 0; sizes are in bytes. One thread at a time
// uses a multi_file_reader. kind() is that of every reader: a cast tells more. Operations
// raise what the plug-in raises.

#ifndef KIVCORE_MULTI_FILE_READER_H
#define KIVCORE_MULTI_FILE_READER_H

#include <string>

#include <kivcore/export.h>
#include <kivcore/reader.h>

namespace kivcore {

// Open it with what describes the row, a pattern of names for one.
class KIVCORE_API multi_file_reader : public reader {
  public:
    ~multi_file_reader() override;

    // How many files there are; 0 while nothing is open.
    virtual unsigned int file_count() = 0;

    // A file's path; empty when there is no such file.
    virtual std::string file_path(unsigned int index) = 0;

    // A file's size; negative when there is no such file.
    virtual long long file_size(unsigned int index) = 0;

    // The file in which the stream's position lies; without a meaning while nothing is open.
    virtual unsigned int current_file() = 0;

    // Moves the position to the start of a file. 0 for success, negative when there
    // is no such file.
    virtual int select_file(unsigned int index) = 0;

  protected:
    multi_file_reader();
};

}  // namespace kivcore

#endif
