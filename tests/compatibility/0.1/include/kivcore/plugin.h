#ifndef KIVCORE_PLUGIN_H
#define KIVCORE_PLUGIN_H

#include <string>

#include <kivcore/export.h>
#include <morbase/object_refcount.h>

namespace kivcore {

class KIVCORE_API plugin : public morbase::object_refcount {
  public:
    static std::string const k_kind_browser;
    static std::string const k_kind_monitor;
    static std::string const k_kind_reader;
    static std::string const k_kind_writer;

    ~plugin() override = 0;

    virtual std::string kind() = 0;

  protected:
    plugin() noexcept = default;
    plugin(plugin const&) noexcept = default;
    plugin& operator=(plugin const&) noexcept = default;
};

}  // namespace kivcore

#endif
