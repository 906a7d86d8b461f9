/// @file
/// Reading files.
#pragma once

#include <cstddef>
#include <string_view>

namespace cf {

/// The content of a file.
class FileContent {
public:
    enum Result {
        kRead,
        kMissing,  ///< there is no such file, or it is none that is read: not a regular one, or one of more than kMaxSize
        kFailed    ///< this time; it may go well the next
    };
    static constexpr std::size_t kMaxSize = std::size_t{16} << 20;

    FileContent() = default;
    ~FileContent();
    FileContent(FileContent const&) = delete;
    FileContent& operator=(FileContent const&) = delete;

    /// Once. Blocks for the file system, and for nothing that is behind a pipe or a device.
    Result Read(char const* aPath);

    std::string_view View() const
    {
        return {mBytes, mSize};
    }

private:
    Result ReadOpen(int aDescriptor);
    Result Fill(int aDescriptor);

    char* mBytes = nullptr;
    std::size_t mSize = 0;
    std::size_t mRoom = 0;
};

}  // namespace cf
