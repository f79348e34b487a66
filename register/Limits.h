#pragma once

#include "register/Storage.h"

#include <algorithm>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <type_traits>
#include <utility>
#include <vector>

/// The limits of a property's values.
namespace utils::properties {

/// Limits to the values from `min` to `max`, both included. NaN is in no range.
template <class Bound>
struct Range {
    /// `from` must not be greater than `to`.
    Range(Bound from, Bound to) : min(std::move(from)), max(std::move(to)) {}
    Bound min; ///< the smallest value
    Bound max; ///< the greatest value
};
/// Bounds of different types have their common type.
template <class From, class To>
Range(From, To) -> Range<std::common_type_t<From, To>>;

/// Limits to the values given.
template <class Choice>
struct OneOf {
    /// One value or more.
    template <class... More>
    explicit OneOf(Choice first, More... more) : choices{std::move(first), std::move(more)...} {}
    std::vector<Choice> choices; ///< all of them
};
/// Choices of different types have their common type.
template <class First, class... More>
OneOf(First, More...) -> OneOf<std::common_type_t<First, More...>>;

///@{
/// A stored value as text for people: a string in quotes, a list in brackets.
REGISTER_EXPORT std::string printed(const std::string &text);
REGISTER_EXPORT std::string printed(double number);
REGISTER_EXPORT std::string printed(int integer);
REGISTER_EXPORT std::string printed(bool boolean);

template <class Element>
std::string printed(const std::vector<Element> &list) {
    std::string text;
    for (const Element &element : list)
        text += (text.empty() ? "" : ", ") + printed(element);
    return "[" + text + "]";
}
///@}

/// Which values a property accepts. Copies share one state. Without limits it allocates nothing and
/// accepts every value.
template <class Value>
class Limits {
public:
    /// Decides about a value.
    using Accepts = std::function<bool(const Value &)>;

    /// No limits.
    Limits() = default;
    /// `accepts` decides; several threads may call it at once. `text` describes the values that it
    /// accepts and completes a message, "The value 7 for ui/columns is not " and "an even number".
    Limits(Accepts accepts, std::string text)
        : Limits(State{std::move(accepts), std::move(text), std::nullopt, {}}) {}
    /// Throws `utils::Exception` when no value lies in the range.
    template <class Bound>
    Limits(const Range<Bound> &range)
        : Limits(between(static_cast<Value>(range.min), static_cast<Value>(range.max))) {
        static_assert(!std::is_arithmetic_v<Bound> || std::is_floating_point_v<Value> ||
                          std::is_same_v<std::common_type_t<Bound, Value>, Value>,
                      "The property's type may not hold the ends of this Range.");
    }
    /// Accepts the choices alone.
    template <class Choice>
    Limits(const OneOf<Choice> &oneOf)
        : Limits(among({oneOf.choices.begin(), oneOf.choices.end()})) {}

    /// The range that limits the values; null for other limits.
    const Range<Value> *range() const {
        return _state && _state->range ? &*_state->range : nullptr;
    }
    /// The values that are accepted; empty for other limits.
    std::vector<Value> choices() const { return _state ? _state->choices : std::vector<Value>(); }

    /// True when the value lies within the limits.
    bool operator()(const Value &value) const { return !_state || _state->accepts(value); }

    /// Throws `utils::Exception` when the value for the property `name` lies outside the limits.
    void check(const std::string &name, const Value &value) const {
        if (!(*this)(value))
            throw Exception("The value " + printed(storedForm(name, value)) + " for " + name +
                            " is not " + _state->text + ".");
    }

private:
    struct State {
        Accepts accepts;
        std::string text;
        std::optional<Range<Value>> range;
        std::vector<Value> choices;
    };

    explicit Limits(State &&state) : _state(std::make_shared<State>(std::move(state))) {}

    static std::string printedLimit(const Value &limit) {
        return printed(storedForm("a limit", limit));
    }

    static Limits between(Value min, Value max) {
        std::string text = "from " + printedLimit(min) + " to " + printedLimit(max);
        if (!(min <= max))
            throw Exception("No value is " + text + ".");
        Range<Value> range(min, max);
        return Limits(State{[min = std::move(min), max = std::move(max)](const Value &value) {
                                return min <= value && value <= max;
                            },
                            std::move(text),
                            std::move(range),
                            {}});
    }

    static Limits among(std::vector<Value> choices) {
        std::string text;
        for (const Value &choice : choices)
            text += (text.empty() ? "one of " : ", ") + printedLimit(choice);
        std::vector<Value> all = choices;
        return Limits(State{[choices = std::move(choices)](const Value &value) {
                                return std::find(choices.begin(), choices.end(), value) !=
                                       choices.end();
                            },
                            std::move(text), std::nullopt, std::move(all)});
    }

    std::shared_ptr<const State> _state;
};

} // namespace utils::properties
