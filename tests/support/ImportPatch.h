#pragma once

namespace velmo::test {

/// Lets Qt6Core call \a replacement where it calls the function \a name of the system, while it lives. Windows alone.
class ImportPatch {
public:
    ImportPatch(const char *name, void *replacement);
    ~ImportPatch();
    ImportPatch(const ImportPatch &) = delete;
    ImportPatch &operator=(const ImportPatch &) = delete;

    /// The system's own function.
    void *original() const { return original_; }

private:
    void **slot_; ///< in Qt6Core's table of imported addresses
    void *original_;
};

} // namespace velmo::test
