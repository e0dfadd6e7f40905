// Typed values that print themselves and compare: a string, bytes, an integer, a
// real number, a list and a map. They are plain objects of whoever makes them.
// Lists and maps refer to their elements and do not own them: keep every element
// alive while a container that refers to it is described or compared, and delete
// it afterwards. No element may be null, and no container may hold itself: its text
// would have no end. Nothing is locked: one thread at a time, or any number that only
// read.
//
// Texts are for people: nothing is escaped in them, and they are not read back.

#ifndef KIVCORE_PROPERTY_H
#define KIVCORE_PROPERTY_H

#include <list>
#include <map>
#include <string>
#include <type_traits>

#include <kivcore/export.h>
#include <morbase/buffer.h>

namespace kivcore {

class constraint;  // reserved: declared here and defined nowhere

// A typed value. Copied and compared by what it holds.
class KIVCORE_API property {
  public:
    virtual ~property();

    // The number of the concrete class: 1 string, 2 binary, 3 int, 4 real, 5 list, 6 map.
    virtual int kind() const = 0;

    // Appends the value's text to out. Raises std::bad_alloc; out may then hold a part.
    virtual void describe(std::string& out) const = 0;

    // Values of different kinds are neither equal nor ordered: a row of mixed kinds cannot
    // be sorted by these.
    virtual bool operator==(property const& other) const = 0;
    virtual bool operator<(property const& other) const = 0;

    // False, for every property and constraint.
    bool satisfies(constraint const& c) const;

  protected:
    // For derived classes only: assigned through a property&, a value would keep what it holds.
    property() = default;
    property(property const&) = default;
    property& operator=(property const&) = default;
};

// Compares as the member does. From C++20 on, two values of derived classes would otherwise
// match the members of both equally well.
template <typename A, typename B,
          typename = std::enable_if_t<std::is_convertible_v<A const*, property const*> &&
                                      std::is_convertible_v<B const*, property const*>>>
bool operator==(A const& a, B const& b) {
    return a.operator==(static_cast<property const&>(b));
}

// Printed between double quotes, up to its first NUL; nothing is escaped. Ordered
// by unsigned bytes.
class KIVCORE_API property_string : public property {
  public:
    explicit property_string(std::string const& value);

    int kind() const override;
    void describe(std::string& out) const override;
    bool operator==(property const& other) const override;
    bool operator<(property const& other) const override;

    std::string const& value() const noexcept { return held; }

  private:
    std::string held;
};

KIVCORE_API bool operator>=(property_string const& a, property_string const& b);

// Printed as Base64. Compared by unsigned bytes. Owns a copy of them.
class KIVCORE_API property_binary : public property {
  public:
    explicit property_binary(morbase::buffer const& value);
    property_binary(property_binary const& other);
    property_binary& operator=(property_binary const& other);

    int kind() const override;
    void describe(std::string& out) const override;
    bool operator==(property const& other) const override;
    bool operator<(property const& other) const override;

    morbase::buffer const& value() const noexcept { return held; }

  private:
    morbase::buffer held;
};

// Printed in decimal.
class KIVCORE_API property_int : public property {
  public:
    explicit property_int(long long value);

    int kind() const override;
    void describe(std::string& out) const override;
    bool operator==(property const& other) const override;
    bool operator<(property const& other) const override;

    long long value() const noexcept { return held; }

  private:
    long long held;
};

// Printed with six digits after the decimal point of the calling thread's locale. Compared as
// IEEE has it: NaN is equal to nothing.
class KIVCORE_API property_real : public property {
  public:
    explicit property_real(double value);

    int kind() const override;
    void describe(std::string& out) const override;
    bool operator==(property const& other) const override;
    bool operator<(property const& other) const override;

    double value() const noexcept { return held; }

  private:
    double held;
};

// Printed as [a, b]. Copies share the elements. Compared by which elements these
// are, never by what the elements hold.
class KIVCORE_API property_list : public property {
  public:
    explicit property_list(std::list<property*> const& value);

    int kind() const override;
    void describe(std::string& out) const override;
    bool operator==(property const& other) const override;
    bool operator<(property const& other) const override;

    std::list<property*> const& value() const noexcept { return held; }

  private:
    std::list<property*> held;
};

// Printed as {"key": a, "key": b}, keys in byte order. Copies share the elements.
// Compared by keys and by which elements these are.
class KIVCORE_API property_map : public property {
  public:
    explicit property_map(std::map<std::string, property*> const& value);

    int kind() const override;
    void describe(std::string& out) const override;
    bool operator==(property const& other) const override;
    bool operator<(property const& other) const override;

    std::map<std::string, property*> const& value() const noexcept { return held; }

  private:
    std::map<std::string, property*> held;
};

}  // namespace kivcore

#endif
