#pragma once

#include <QString>

#include <functional>
#include <optional>

namespace pelix::platform {

// The kind of an element of another application's interface, as far as typing into it goes.
enum class ElementRole {
    button,  // push button, menu button, pop-up button
    link,
    menuItem,
    checkBox,
    radioButton,
    pageTab,
    toggleButton,  // toggle button, disclosure triangle
    textField,     // a one-line text entry, password field or search field
    comboBox,      // an entry with a list, such as a browser's address bar
    other,         // text areas, documents, web areas, groups
};

// The element that has the keyboard focus, with the texts that say what it is for.
struct FocusedElement {
    ElementRole role = ElementRole::other;
    QString name;
    QString description;
    QString placeholder;
    // The application's own identifier of the element (a web page's "id").
    QString identifier;
};

// The accessibility interfaces of other applications.
class Accessibility {
public:
    virtual ~Accessibility() = default;
    // Asks every application to expose its interface from now on (applications started
    // afterwards, and those that follow the switch, show up); `done` runs later, on this thread,
    // once the desktop has taken the switch or refused it.
    virtual void switchOn(std::function<void()> done) = 0;
    // Calls `done` later, on this thread, with the focused element of the process `pid`, or none
    // when it cannot be found. Nothing is called once this object is gone.
    virtual void focusedElement(qint64 pid,
                                std::function<void(std::optional<FocusedElement>)> done) = 0;
};

}  // namespace pelix::platform
