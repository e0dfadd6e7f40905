// What the registry reports while it loads and registers: printed, or passed to an observer.

#ifndef KIVCORE_NOTICES_H
#define KIVCORE_NOTICES_H

#include <functional>
#include <string>
#include <vector>

#include <kivcore/load_observer.h>
#include <kivcore/plugins.h>
#include <kivsys/readxml_base.h>

#include "cancellation.h"

namespace kivcore {

class notices {
  public:
    // What happens to an id. Called with the registry's lock held, before it happens.
    virtual void registering(std::string const& id) = 0;
    virtual void withdraw() = 0;  // the last id could not be registered: out of memory
    virtual void replacing(std::string const& id, plugins::info const& former) = 0;
    virtual void refusing(std::string const& id, plugins::info const& holder) = 0;

    // An id is not registered because one before it in the same plug-in was refused.
    virtual void skipping(std::string const& id) = 0;

    // Where reports about a document go. Called before it is read; it does not outlive this.
    virtual void receive_reports(kivsys::xml::reader& document) = 0;

    virtual void element_without_name() = 0;
    virtual void failed(char const* reason) noexcept = 0;

  protected:
    // Not virtual: the printing one must outlive every static object of a host.
    ~notices() = default;
};

// Prints the registry's lines at once.
notices& printed_notices();

// Calls an observer and drops its exceptions: they do not stop a load.
template <typename call_type>
void call_observer(call_type const& call) noexcept {
    cancellation_put_off const until_done;
    try {
        call();
    } catch (...) {
        return;  // the observer's own failure
    }
}

// Keeps what happens to one directory, and reports it to the observer when the registry's lock is
// free and the description is closed.
// NOLINTNEXTLINE(cppcoreguidelines-virtual-class-destructor): see notices
class observed_notices final : public notices {
  public:
    // path must outlive this.
    explicit observed_notices(std::string const& path) : directory(path) {}

    void registering(std::string const& id) override;
    void withdraw() override { events.pop_back(); }
    void replacing(std::string const& id, plugins::info const& former) override;
    void refusing(std::string const& id, plugins::info const& holder) override;
    void skipping(std::string const& id) override;
    void receive_reports(kivsys::xml::reader& document) override;
    void element_without_name() override;
    void failed(char const* reason) noexcept override;

    // Reports everything in order, then whether the directory loaded.
    void deliver(load_observer& observer, bool is_loaded) const noexcept;

  private:
    std::string const& directory;
    std::string failure = "unknown reason";
    std::vector<std::function<void(load_observer&)>> events;
};

}  // namespace kivcore

#endif
