// The strings that native code looks up or calls by; a Module holds each of them interned.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <string_view>

namespace git_utils {

inline constexpr auto name_spellings = std::to_array<std::string_view>({
    // module-level names
    "Any",
    "CommitChanges",
    "FileChange",
    "GitError",
    "LineSpan",
    "Path",
    "Sequence",
    "TIME_SPEC_FORMS",
    "_COMMIT_START",
    "_C_ESCAPE",
    "_C_ESCAPES",
    "_HUNK_HEADER",
    "_MAX_PATHSPEC_CHARS",
    "_PATCH_OPTIONS",
    "_RELATIVE_SPEC",
    "_SPEC_UNITS",
    "_STATUS_BY_LETTER",
    "_TWO_PATH_LETTERS",
    "__name__",
    "_file_changes",
    "_git_output",
    "_line_count",
    "_patch_path",
    "_path_batches",
    "_span",
    "_unquote",
    "dataclass",
    "datetime",
    "find_git_root",
    "get_subprocess_hidden_kwargs",
    "logger",
    "logging",
    "parse_commit_changes",
    "parse_file_changes",
    "parse_line_spans",
    "parse_time_spec",
    "re",
    "run_git_command",
    "sanitize_branch_name",
    "subprocess",
    "timedelta",
    "wiki_root",
    // fields of the records
    "added",
    "additions",
    "deletions",
    "end",
    "files",
    "old_path",
    "path",
    "start",
    "status",
    "timestamp",
    // attributes, methods and keywords
    "DOTALL",
    "TimeoutExpired",
    "__init__",
    "absolute",
    "append",
    "astimezone",
    "capture_output",
    "compile",
    "cwd",
    "debug",
    "decode",
    "encode",
    "encoding",
    "endswith",
    "errors",
    "exists",
    "finditer",
    "frozen",
    "fromisoformat",
    "fullmatch",
    "get",
    "getLogger",
    "isalnum",
    "isdigit",
    "join",
    "keys",
    "lstrip",
    "match",
    "now",
    "parents",
    "removeprefix",
    "removesuffix",
    "replace",
    "returncode",
    "rpartition",
    "run",
    "split",
    "startswith",
    "stderr",
    "stdout",
    "strftime",
    "strip",
    "timeout",
    "tzinfo",
    "update",
    "warning",
    // values
    ".git",
    "commits",
    "email",
    "lore-book",
    "memory",
    "modified",
    "name",
    "utf-8",
});

struct Name {
    std::size_t index;
};

template <std::size_t size>
struct NameLiteral {
    // What makes a literal the operator's argument. NOLINTNEXTLINE(google-explicit-constructor)
    consteval NameLiteral(const char (&literal)[size]) { std::copy_n(literal, size, text); }
    char text[size]{};
};

// "split"_name; a spelling that is not in the list does not compile.
template <NameLiteral literal>
constexpr Name operator""_name() {
    constexpr auto found = std::ranges::find(name_spellings, std::string_view(literal.text));
    static_assert(found != name_spellings.end(), "no such name");
    return Name{static_cast<std::size_t>(found - name_spellings.begin())};
}

}  // namespace git_utils
