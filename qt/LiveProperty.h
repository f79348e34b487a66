#pragma once

#include "qt/Export.h"
#include "qt/PostOnce.h"
#include "register/Property.h"

#include <QObject>
#include <QPointer>
#include <QtGlobal>

#if QT_VERSION >= QT_VERSION_CHECK(6, 2, 0)
#include <QBindable>
#include <QProperty>
#define REGISTER_HAS_BINDABLE 1
#else
#define REGISTER_HAS_BINDABLE 0
#endif

#include <exception>
#include <string>
#include <utility>

namespace utils::properties {

/// What all `LiveProperty` have in common. (A class template cannot have signals.)
class REGISTER_QT_EXPORT LivePropertyBase : public QObject {
    Q_OBJECT

public:
    ~LivePropertyBase() override;

signals:
    /// `value` differs from before. Emitted in the thread of this object.
    void changed();

protected:
    /// Follows the property `name`, in any spelling.
    LivePropertyBase(const std::string &name, QObject *parent);

    /// Reads the register again, in the thread of this object.
    virtual void refresh() = 0;
    /// Calls `refresh` in a later turn of the event loop.
    void refreshLater() noexcept { _post(this, &LivePropertyBase::refresh); }
    /// Ends the notifications. Called first by the destructors of derived classes.
    void stop();

private:
    PostOnce _post;
    Subscription _subscription;
};

/// A `Property` for code that lives in an event loop: a cached value, and a signal in the object's
/// own thread.
///
/// Any thread may write the register. The value here follows in the next turn of the event loop of
/// this object's thread; several writes in a row emit one `changed`, and writes of an equal value
/// none. Create, use and destroy the object in one thread, after `_Register::initialize`. It costs
/// the writers one posted event and never makes them wait.
///
/// `Value` needs `==`.
template <class Value>
class LiveProperty : public LivePropertyBase {
public:
    /// Reads the property. Throws `utils::Exception` before `_Register::initialize`.
    explicit LiveProperty(Property<Value> property, QObject *parent = nullptr)
        : LivePropertyBase(property.name(), parent), _property(std::move(property)),
          _value(_property.value()) {
#if REGISTER_HAS_BINDABLE
        _onBinding = _value.addNotifier([this] { writeBack(); });
#endif
    }
    ~LiveProperty() override {
        stop();
    }

    /// The property that it follows.
    const Property<Value> &property() const {
        return _property;
    }

    /// The value, as last seen. Does not read the register.
    Value value() const {
#if REGISTER_HAS_BINDABLE
        return _value.value();
#else
        return _value;
#endif
    }

    /// Writes the register, and emits `changed` before it returns. Throws what `Property::set`
    /// throws; the value is then unchanged, or that of a callback that threw.
    void set(const Value &value) {
        _property.set(value, this);
        refresh();
    }
    /// Removes the value from the property's scope, as `Property::reset` does.
    void reset() {
        _property.reset(this);
        refresh();
    }

    /// Calls a function with each new value, until this object or `context` is destroyed. `context`
    /// lives in the thread of this object.
    template <class Function>
    QMetaObject::Connection onChange(QObject *context, Function function) {
        return connect(this, &LivePropertyBase::changed, context,
                       [this, function = std::move(function)] { function(value()); });
    }

#if REGISTER_HAS_BINDABLE
    /// For the bindings of Qt. A value that is set through it, or by a binding, is written to the
    /// register. One that the register refuses is replaced by the value of the register, which ends
    /// the binding.
    QBindable<Value> bindable() {
        return QBindable<Value>(&_value);
    }
#endif

protected:
    void refresh() override {
        Value now = _property.value();
        if (now == value())
            return;
        _isRefreshing = true;
        _value = std::move(now);
        _isRefreshing = false;
        emit changed();
    }

private:
    const Property<Value> _property;
    bool _isRefreshing = false;

#if REGISTER_HAS_BINDABLE
    void writeBack() {
        if (_isRefreshing)
            return;
        try {
            _property.set(_value.value(), this);
            emit changed();
        } catch (const std::exception &error) {
            qWarning("%s", error.what());
        }
        refreshLater(); // a binding must not be removed while it is evaluated
    }

    QProperty<Value> _value;
    QPropertyNotifier _onBinding;
#else
    Value _value;
#endif
};

} // namespace utils::properties
