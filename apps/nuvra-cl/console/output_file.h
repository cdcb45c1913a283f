#pragma once

#include <cstdio>
#include <filesystem>

namespace nuvra::app {

/// The file that a command writes. Nothing half-written is ever seen under its name: the bytes go to a
/// temporary file beside it, which `Commit` renames and which is removed otherwise, by an interrupt or a
/// crash too; it has the permissions of the file that it replaces. A symbolic link is followed, whether its
/// file is there or not. A pipe, a terminal or another thing that is no regular file is written directly.
///
/// Every operation throws the `Failure` "cannot write NAME: ...".
class OutputFile {
public:
    enum class Access {
        SEQUENTIAL,  ///< with `Write` alone
        RANDOM,      ///< by name, through `GetPath`
    };

    /// With RANDOM access the temporary file has the extension of `name`, or `extension` where that has none.
    OutputFile(const std::string& name, Access access, const std::string& extension = {});
    ~OutputFile();
    OutputFile(const OutputFile&) = delete;
    OutputFile& operator=(const OutputFile&) = delete;

    /// The file to write until `Commit`.
    const std::filesystem::path& GetPath() const { return _written; }

    void Write(const void* bytes, size_t size);

    /// Makes what was written appear under the file's name.
    void Commit();

private:
    void MakeTemporary(const std::filesystem::path& folder, const std::string& extension);
    void CopyToTarget();
    void Close();
    [[noreturn]] void Fail(int systemError) const;

    std::string _name;              ///< as given
    std::filesystem::path _target;  ///< with symbolic links resolved
    std::filesystem::path _written;
    std::FILE* _stream = nullptr;
    bool _isTemporary = false;
    bool _isSpecial = false;
};

}  // namespace nuvra::app
