#pragma once

#include <QString>

#include <expected>

namespace pelix::core {

// The one error type of the program. Errors the program makes carry the domain "pelix";
// errors passed through from a lower layer (the network, a library) keep that layer's domain,
// code and description. `message` is always a sentence a person can read as it stands.
struct Error {
    QString domain = QStringLiteral("pelix");
    int code = 0;
    QString message;

    static Error pelix(int code, QString message) {
        return Error{QStringLiteral("pelix"), code, std::move(message)};
    }
    bool operator==(const Error&) const = default;
};

template <class T>
using Result = std::expected<T, Error>;

using Status = std::expected<void, Error>;

inline std::unexpected<Error> fail(int code, QString message) {
    return std::unexpected(Error::pelix(code, std::move(message)));
}

}  // namespace pelix::core

namespace pelix {
// Every folder speaks of failure in these words, so they are named in pelix itself too.
using core::Error;
using core::fail;
using core::Result;
using core::Status;
}  // namespace pelix
