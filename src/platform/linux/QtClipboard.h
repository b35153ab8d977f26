#pragma once

#include "platform/Typist.h"

namespace pelix::platform {

// The desktop clipboard through Qt (needs a QGuiApplication). X11's bookkeeping targets and
// Qt's own image conversion are not formats of the contents and are left out of a save.
class QtClipboard final : public Clipboard {
public:
    Contents save() const override;
    void setText(const QString& text) override;
    void restore(const Contents& contents) override;
};

}  // namespace pelix::platform
