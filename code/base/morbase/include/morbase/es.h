// The family of exceptions that every library here raises. An exception carries
// a message for people and the source file and line that raised it; it owns all
// of its texts. Catch es::base by reference to meet any of them. Only want of memory
// is told otherwise, by std::bad_alloc or, for a size that none could have, by
// std::length_error.
//
// Each class but base has a raise(), which throws an exception of just that class with copies of
// the texts, or std::bad_alloc. The destructors lie in the library, so that the host and
// every shared object mean the same type when they catch one.
//
// An exception never changes: any number of threads may ask it, and it may be carried
// from one to another.

#ifndef MORBASE_ES_H
#define MORBASE_ES_H

#include <exception>
#include <memory>

#include <morbase/export.h>

namespace morbase::es {

// What all of them have. Not raised itself.
class MORBASE_API base : public std::exception {
  public:
    // Copies the texts; a null text counts as empty. Raises std::bad_alloc.
    base(char const* file, unsigned int line, char const* message);

    // Shares the texts with the other one.
    base(base const&) noexcept;
    base& operator=(base const&) noexcept;
    ~base() override;

    // The message. Valid as long as the exception or a copy of it lives.
    char const* what() const noexcept override;

    // Where it was raised, for whoever looks for the cause. Valid as what() is. These libraries
    // name the file by its path in their source tree, without a suffix: unlike __FILE__, that is
    // the same wherever they were built, and it stays when a file is split in several.
    char const* file() const noexcept;
    unsigned int line() const noexcept;

  private:
    struct details;
    std::shared_ptr<details const> raised;  // shared, so that copying cannot fail
};

// Something could not be done: a file, a library or the platform failed, a description
// cannot be understood, a mutex is held by this very thread.
class MORBASE_API call : public base {
  public:
    using base::base;
    ~call() override;
    [[noreturn]] static void raise(char const* file, unsigned int line, char const* message);
};

// What was handed in cannot be used: an XML document with an error, a path of the wrong form.
class MORBASE_API arg : public base {
  public:
    using base::base;
    ~arg() override;
    [[noreturn]] static void raise(char const* file, unsigned int line, char const* message);
};

// Something that must be there is not: a value of a description, a function of a shared
// object.
class MORBASE_API null : public base {
  public:
    using base::base;
    ~null() override;
    [[noreturn]] static void raise(char const* file, unsigned int line, char const* message);
};

// What was asked for is known and not supported: no input of this kind will do.
class MORBASE_API unsupp : public base {
  public:
    using base::base;
    ~unsupp() override;
    [[noreturn]] static void raise(char const* file, unsigned int line, char const* message);
};

}  // namespace morbase::es

#endif
