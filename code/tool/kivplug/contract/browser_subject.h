// A browser under test. Every list, info and url, asked for in any order, must agree with those of
// a first walk, and with each other.

#ifndef KIVPLUG_CONTRACT_BROWSER_SUBJECT_H
#define KIVPLUG_CONTRACT_BROWSER_SUBJECT_H

#include <string>
#include <vector>

#include <kivcore/browser.h>

#include "browsed_place.h"
#include "host.h"
#include "maker.h"
#include "operation.h"
#include "subject.h"

namespace kivplug {

class browser_subject final : public subject {
  public:
    // If the path is empty, browsing starts from the root. from must outlive it.
    browser_subject(host const& from, place browsed);

    void prepare(trace const& log) override;
    calls generate(dice& random) const override;
    void run(calls const& sequence, trace const& log) const override;

  private:
    browsed_place learned_anew(trace const& log, browsed_place at) const;
    std::string root(trace const& log) const;

    place where;
    maker<kivcore::browser> make;
    std::vector<browsed_place> known;
};

}  // namespace kivplug

#endif
