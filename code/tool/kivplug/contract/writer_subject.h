// A writer under test. A scratch file must have what was written.

#ifndef KIVPLUG_CONTRACT_WRITER_SUBJECT_H
#define KIVPLUG_CONTRACT_WRITER_SUBJECT_H

#include <string>

#include <kivcore/instance.h>
#include <kivcore/writer.h>

#include "host.h"
#include "operation.h"
#include "stream_facts.h"
#include "subject.h"

namespace kivplug {

struct writer_facts : stream_abilities {
    bool is_raw = false;  // the file has the bytes as they were written
    // Otherwise a reader decodes them.
    make_reader read_back;
    std::string reader;  // its id
};

class writer_subject final : public subject {
  public:
    // read_with: the id of a reader of the writer's files, or empty. There must be nothing at the
    // path. from must outlive it.
    writer_subject(host const& from, place scratch, std::string const& read_with);

    void prepare(trace const& log) override;
    calls generate(dice& random) const override;
    void run(calls const& sequence, trace const& log) const override;

  private:
    void learn_encoding(trace const& log);
    kivcore::instance<kivcore::writer> with_text(trace const& log) const;

    place where;
    maker<kivcore::writer> make;
    writer_facts known;
};

}  // namespace kivplug

#endif
