// The family of exceptions that every library here raises. An exception carries a message for
// people, and the source file and line that raised it. It owns all of its texts. Catch es::base
// by reference to catch any of them. Only running out of memory raises something else:
// std::bad_alloc or, for an impossible size, std::length_error.
//
// The destructors are defined in the library, so that the host and every shared object catch the
// same type.
//
// An exception never changes: any number of threads may read it, and it may be passed from one to
// another.

#ifndef MORBASE_ES_H
#define MORBASE_ES_H

#include <exception>
#include <memory>

#include <morbase/export.h>

namespace morbase::es {

// The common base class. It is never raised itself.
class MORBASE_API base : public std::exception {
  public:
    // Copies the texts; a null text counts as empty. Raises std::bad_alloc.
    base(char const* file, unsigned int line, char const* message);

    // Shares the texts with the other exception.
    base(base const&) noexcept;
    base& operator=(base const&) noexcept;
    ~base() override;

    // The message. Valid while the exception or a copy of it exists.
    char const* what() const noexcept override;

    // Where it was raised. Valid as long as what(). In these libraries, the file is its path in
    // the source tree without a suffix. Unlike __FILE__, this does not depend on where the
    // library was built, and need not change when a file is split.
    char const* file() const noexcept;
    unsigned int line() const noexcept;

  private:
    struct details;
    std::shared_ptr<details const> raised;  // shared, so that copying cannot fail
};

// An operation failed: for example, a file, a library or the platform reported an error, a
// description cannot be understood, or this thread already holds a mutex.
class MORBASE_API call : public base {
  public:
    using base::base;
    ~call() override;

    // Throws an exception of this class with copies of the texts, or std::bad_alloc.
    [[noreturn]] static void raise(char const* file, unsigned int line, char const* message);
};

// An argument cannot be used: for example, an XML document with an error, or a path of the wrong
// form.
class MORBASE_API arg : public base {
  public:
    using base::base;
    ~arg() override;

    // Throws an exception of this class with copies of the texts, or std::bad_alloc.
    [[noreturn]] static void raise(char const* file, unsigned int line, char const* message);
};

// Something required is missing: for example, a value in a description, or a function in a shared
// object.
class MORBASE_API null : public base {
  public:
    using base::base;
    ~null() override;

    // Throws an exception of this class with copies of the texts, or std::bad_alloc.
    [[noreturn]] static void raise(char const* file, unsigned int line, char const* message);
};

// The request is valid but not supported, whatever the input.
class MORBASE_API unsupp : public base {
  public:
    using base::base;
    ~unsupp() override;

    // Throws an exception of this class with copies of the texts, or std::bad_alloc.
    [[noreturn]] static void raise(char const* file, unsigned int line, char const* message);
};

}  // namespace morbase::es

#endif
