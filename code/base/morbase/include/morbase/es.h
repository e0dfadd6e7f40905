// The family of exceptions that every library here raises. An exception carries
// a message for people and the source file and line that raised it; it owns all
// of its texts. Catch es::base by reference to meet any of them.

#ifndef MORBASE_ES_H
#define MORBASE_ES_H

#include <exception>
#include <memory>

#include <morbase/export.h>

namespace morbase::es {

class MORBASE_API base : public std::exception {
  public:
    // A null text counts as empty.
    base(char const* file, unsigned int line, char const* message);
    base(base const&) noexcept;
    base& operator=(base const&) noexcept;
    ~base() override;

    // The message. Valid as long as the exception or a copy of it lives.
    char const* what() const noexcept override;

    // Where it was raised.
    char const* file() const noexcept;
    unsigned int line() const noexcept;

  private:
    struct details;
    std::shared_ptr<details const> raised;  // shared, so that copying cannot fail
};

// A call into something outside failed: a file, a library, the platform.
class MORBASE_API call : public base {
  public:
    using base::base;
    ~call() override;
    [[noreturn]] static void raise(char const* file, unsigned int line, char const* message);
};

// What was handed in cannot be used.
class MORBASE_API arg : public base {
  public:
    using base::base;
    ~arg() override;
    [[noreturn]] static void raise(char const* file, unsigned int line, char const* message);
};

// Something that must be there is not.
class MORBASE_API null : public base {
  public:
    using base::base;
    ~null() override;
    [[noreturn]] static void raise(char const* file, unsigned int line, char const* message);
};

// What was asked for is not supported.
class MORBASE_API unsupp : public base {
  public:
    using base::base;
    ~unsupp() override;
    [[noreturn]] static void raise(char const* file, unsigned int line, char const* message);
};

}  // namespace morbase::es

#endif
