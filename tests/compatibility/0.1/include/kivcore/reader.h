#ifndef KIVCORE_READER_H
#define KIVCORE_READER_H

#include <string>

#include <kivcore/export.h>
#include <kivcore/plugin.h>
#include <morbase/stream.h>

namespace kivcore {

class KIVCORE_API reader : public plugin, public morbase::stream::rda {
  public:
    ~reader() override;

    std::string kind() override;

    virtual int open(std::string const& path, std::string const& mode) = 0;

    virtual int close() = 0;
};

}  // namespace kivcore

#endif
