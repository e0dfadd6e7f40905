// Typed values that can be printed and compared: a string, bytes, an integer, a real number, a
// list and a map. They are plain objects, owned by their creator. Lists and maps refer to their
// elements and do not own them. Keep every element alive while a container that refers to it is
// described or compared, and delete it afterwards. No element may be null, and no container may
// contain itself: describing it would not end. Nothing is locked: use a value from one thread at
// a time, or from any number that only read.
//
// Texts are for people: nothing is escaped, and there is no parser for them.

#ifndef KIVCORE_PROPERTY_H
#define KIVCORE_PROPERTY_H

#include <list>
#include <map>
#include <string>
#include <type_traits>

#include <kivcore/export.h>
#include <morbase/buffer.h>

namespace kivcore {

class constraint;  // reserved: declared here, defined nowhere

// A typed value. It is copied and compared by its content.
class KIVCORE_API property {
  public:
    virtual ~property();

    // The number of the concrete class: 1 string, 2 binary, 3 int, 4 real, 5 list, 6 map.
    virtual int kind() const = 0;

    // Appends the value's text to out. Raises std::bad_alloc; then out may contain part of the
    // text.
    virtual void describe(std::string& out) const = 0;

    // Values of different kinds are neither equal nor ordered, so a list of mixed kinds cannot be
    // sorted.
    virtual bool operator==(property const& other) const = 0;
    virtual bool operator<(property const& other) const = 0;

    // Always false.
    bool satisfies(constraint const& c) const;

  protected:
    // Protected, because assignment through a property& would not copy the content.
    property() = default;
    property(property const&) = default;
    property& operator=(property const&) = default;
};

// Calls the member. Without it, comparing two derived classes would be ambiguous from C++20 on.
template <typename A, typename B,
          typename = std::enable_if_t<std::is_convertible_v<A const*, property const*> &&
                                      std::is_convertible_v<B const*, property const*>>>
bool operator==(A const& a, B const& b) {
    return a.operator==(static_cast<property const&>(b));
}

// Printed in double quotes, up to the first NUL, without escapes. Ordered by unsigned bytes.
class KIVCORE_API property_string : public property {
  public:
    // Copies the text.
    explicit property_string(std::string const& value);

    int kind() const override;
    void describe(std::string& out) const override;
    bool operator==(property const& other) const override;
    bool operator<(property const& other) const override;

    // The content, owned by this object.
    std::string const& value() const noexcept { return held; }

  private:
    std::string held;
};

// Compares as operator< does.
KIVCORE_API bool operator>=(property_string const& a, property_string const& b);

// Printed as Base64. Owns a copy of its bytes and compares them as unsigned bytes.
class KIVCORE_API property_binary : public property {
  public:
    // Copies the bytes.
    explicit property_binary(morbase::buffer const& value);
    property_binary(property_binary const& other);
    property_binary& operator=(property_binary const& other);

    int kind() const override;
    void describe(std::string& out) const override;
    bool operator==(property const& other) const override;
    bool operator<(property const& other) const override;

    // The content, owned by this object.
    morbase::buffer const& value() const noexcept { return held; }

  private:
    morbase::buffer held;
};

// Printed in decimal.
class KIVCORE_API property_int : public property {
  public:
    // Holds the number.
    explicit property_int(long long value);

    int kind() const override;
    void describe(std::string& out) const override;
    bool operator==(property const& other) const override;
    bool operator<(property const& other) const override;

    // The number.
    long long value() const noexcept { return held; }

  private:
    long long held;
};

// Printed with six digits after the decimal point of the calling thread's locale. Compared by the
// rules of IEEE 754: NaN is not equal to anything.
class KIVCORE_API property_real : public property {
  public:
    // Holds the number.
    explicit property_real(double value);

    int kind() const override;
    void describe(std::string& out) const override;
    bool operator==(property const& other) const override;
    bool operator<(property const& other) const override;

    // The number.
    double value() const noexcept { return held; }

  private:
    double held;
};

// Printed as [a, b]. Copies share the elements. Compared by the addresses of the elements, never
// by their content.
class KIVCORE_API property_list : public property {
  public:
    // Copies the list, not its elements.
    explicit property_list(std::list<property*> const& value);

    int kind() const override;
    void describe(std::string& out) const override;
    bool operator==(property const& other) const override;
    bool operator<(property const& other) const override;

    // The content, owned by this object.
    std::list<property*> const& value() const noexcept { return held; }

  private:
    std::list<property*> held;
};

// Printed as {"key": a, "key": b}, keys in byte order. Copies share the elements. Compared by
// keys and by the addresses of the elements.
class KIVCORE_API property_map : public property {
  public:
    // Copies the map, not its elements.
    explicit property_map(std::map<std::string, property*> const& value);

    int kind() const override;
    void describe(std::string& out) const override;
    bool operator==(property const& other) const override;
    bool operator<(property const& other) const override;

    // The content, owned by this object.
    std::map<std::string, property*> const& value() const noexcept { return held; }

  private:
    std::map<std::string, property*> held;
};

}  // namespace kivcore

#endif
