// A writer under test: what a scratch file holds afterwards, against what was written.

#ifndef KIVPLUG_CONTRACT_WRITER_SUBJECT_H
#define KIVPLUG_CONTRACT_WRITER_SUBJECT_H

#include <functional>
#include <string>

#include <kivcore/instance.h>
#include <kivcore/writer.h>

#include "host.h"
#include "operation.h"
#include "stream_facts.h"
#include "subject.h"

namespace kivplug {

struct writer_facts : stream_abilities {
    // The file holds the bytes as they were written. Otherwise `read_back` decodes it, if there
    // is one.
    bool is_raw = false;
    make_reader read_back;
    std::string reader;  // its id
};

class writer_subject final : public subject {
  public:
    // read_with: the id of a reader of what the writer writes, or empty. Nothing may be at the
    // path. from must outlive it.
    writer_subject(host const& from, place scratch, std::string const& read_with);

    void prepare(trace const& log) override;
    calls generate(dice& random) const override;
    void run(calls const& sequence, trace const& log) const override;

  private:
    place where;
    std::function<kivcore::instance<kivcore::writer>()> make;
    writer_facts known;
};

}  // namespace kivplug

#endif
