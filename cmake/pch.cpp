// The translation unit that makes the shared precompiled header (cmake/Pelix.cmake).
