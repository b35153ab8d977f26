// A keyboard for the KDE tests, through KWin's fake input (which KWin must trust this program
// with): reads lines "down CODE..." and "up CODE..." (evdev key codes) on standard input, sends
// them in order, and answers "done" once KWin has taken them; "ready" once it may send.
#include "fake-input-client-protocol.h"

#include <wayland-client.h>

#include <cstdio>
#include <cstring>
#include <iostream>
#include <sstream>
#include <string>

namespace {

org_kde_kwin_fake_input* fake = nullptr;

void global(void*, wl_registry* registry, uint32_t name, const char* interface, uint32_t version) {
    if (std::strcmp(interface, org_kde_kwin_fake_input_interface.name) == 0 && version >= 4) {
        fake = static_cast<org_kde_kwin_fake_input*>(
            wl_registry_bind(registry, name, &org_kde_kwin_fake_input_interface, 4));
    }
}
void removed(void*, wl_registry*, uint32_t) {}
const wl_registry_listener kRegistry = {global, removed};

}  // namespace

int main() {
    wl_display* display = wl_display_connect(nullptr);
    if (!display) {
        std::puts("no compositor");
        return 1;
    }
    wl_registry* registry = wl_display_get_registry(display);
    wl_registry_add_listener(registry, &kRegistry, nullptr);
    wl_display_roundtrip(display);
    if (!fake) {
        std::puts("no fake input");
        return 2;
    }
    org_kde_kwin_fake_input_authenticate(fake, "Pelix tests", "Presses keys for the tests.");
    wl_display_roundtrip(display);
    std::cout << "ready" << std::endl;
    std::string line;
    while (std::getline(std::cin, line)) {
        std::istringstream words(line);
        std::string what;
        words >> what;
        const uint32_t state =
            what == "down" ? WL_KEYBOARD_KEY_STATE_PRESSED : WL_KEYBOARD_KEY_STATE_RELEASED;
        for (uint32_t code; words >> code;) {
            org_kde_kwin_fake_input_keyboard_key(fake, code, state);
            wl_display_roundtrip(display);
        }
        std::cout << "done" << std::endl;
    }
    wl_display_disconnect(display);
    return 0;
}
