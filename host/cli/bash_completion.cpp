// SPDX-License-Identifier: Apache-2.0
#include "host/cli/bash_completion.h"

#include <CLI/CLI.hpp>
#include <algorithm>
#include <cctype>
#include <string_view>

#include "host/cli/help.h"

namespace ZYRA::Host {

namespace {

// Kinds of words, as the script knows them: "words A B", "files PATTERN [WORD...]", "folders", "programs", "unknown"
// for a value that nothing is known of, and nothing for no value at all.
constexpr char FOLDERS[] = "folders";
constexpr char PROGRAMS[] = "programs";
constexpr char UNKNOWN[] = "unknown";

// Placeholders in the help of which the name alone tells the kind.
constexpr struct {
    std::string_view placeholder;
    std::string_view kind;
} KINDS[] = {
    {"DIR", FOLDERS}, {"FILE", "files *"}, {"PATH", "files *"}, {"PROGRAM", PROGRAMS}, {"SCENARIO", "files *.jsonl"},
};

constexpr std::string_view FILE_WITH_ENDING = "FILE.";

// The kind of a placeholder without alternatives; empty if it is a word that stands for itself.
std::string KindOfOne(std::string_view placeholder) {
    for (const auto& [known, kind] : KINDS) {
        if (placeholder == known) {
            return std::string(kind);
        }
    }
    if (placeholder.starts_with(FILE_WITH_ENDING)) {
        return "files *." + std::string(placeholder.substr(FILE_WITH_ENDING.size()));
    }
    return "";
}

// FILE, FILE.jsonl, DIR, FILE|-, exact|passive, and whatever else: MS.
std::string KindOf(const std::string& placeholder) {
    std::string kind;
    std::string words;
    const std::vector<std::string> alternatives = CLI::detail::split(placeholder, '|');
    for (const std::string& alternative : alternatives) {
        const std::string one = KindOfOne(alternative);
        if (one.empty()) {
            words += ' ' + alternative;
        } else {
            kind = one;
        }
    }
    if (!kind.empty()) {
        return kind + words;
    }
    return alternatives.size() > 1 ? "words" + words : UNKNOWN;
}

std::string Quoted(const std::string& text) {
    std::string quoted = "'";
    for (const char character : text) {
        quoted += character == '\'' ? "'\\''" : std::string(1, character);
    }
    return quoted + '\'';
}

// A branch of the script's case statements.
std::string Branch(const std::string& pattern, const std::string& variable, const std::string& value) {
    return "        " + pattern + ") " + variable + '=' + Quoted(value) + " ;;\n";
}

std::string Joined(const std::vector<std::string>& words) {
    return CLI::detail::join(words, " ");
}

// Lines that choose by "command option", "command" and "command place".
struct Tables {
    std::string kinds;
    std::string options;
    std::string places;

    void Add(const CLI::App& command, const std::string& name) {
        std::vector<std::string> all;
        for (const CLI::Option* option : VisibleOptions(command)) {
            const std::vector<std::string> names = NamesOf(*option);
            all.insert(all.end(), names.begin(), names.end());
            std::vector<std::string> patterns;
            for (const std::string& optionName : names) {
                patterns.push_back(Quoted(name + ' ' + optionName));
            }
            if (option->get_items_expected_max() > 0) {
                kinds += Branch(CLI::detail::join(patterns, " | "), "kind", KindOf(option->get_type_name()));
            }
        }
        options += Branch(Quoted(name), "words", Joined(all));
        size_t place = 0;
        for (const CLI::Option* positional : VisiblePositionals(command)) {
            const bool isRepeated = positional->get_items_expected_max() > 1;
            const std::string pattern = Quoted(name + ' ' + std::to_string(place++));
            const std::string kind = KindOf(positional->get_name(true));
            places += Branch(pattern, "kind", kind);
            if (isRepeated) {
                // What follows a program are its arguments, most likely files.
                places += Branch(Quoted(name + ' ') + '*', "kind", kind == PROGRAMS ? "files *" : kind);
            }
        }
    }
};

// @NAME@ is replaced by the name of the functions, @PROGRAM@ by that of the program, the others by the tables.
constexpr std::string_view SCRIPT = R"(# shellcheck shell=bash
# Completion of @PROGRAM@ in bash, made from the definitions of its command line.

# Sets kind to what follows an option ($2) of a command ($1): empty if nothing does.
@NAME@_value()
{
    kind=
    case "$1 $2" in
@KINDS@    esac
}

# Sets kind to what the n-th argument ($2, from 0) of a command ($1) is.
@NAME@_argument()
{
    kind=unknown
    case "$1 $2" in
@PLACES@    esac
}

# Sets words to the options of a command ($1; empty before there is one).
@NAME@_options()
{
    words=
    case "$1" in
@OPTIONS@    esac
}

# Adds files whose names match $1, and the folders that lead to them.
@NAME@_files()
{
    local found
    compopt -o filenames 2>/dev/null
    mapfile -t found < <(compgen -f -X "!$1" -- "$current"; compgen -d -- "$current")
    if [[ ${#found[@]} -gt 0 ]]; then
        mapfile -t found < <(printf '%s\n' "${found[@]}" | sort -u)
    fi
    COMPREPLY+=("${found[@]}")
}

@NAME@()
{
    local current='' command='' kind='' words='' rest='' place=0 i word
    local -a line=()
    COMPREPLY=()

    # --option=value comes as three words.
    for ((i = 1; i <= COMP_CWORD; ++i)); do
        word=${COMP_WORDS[i]}
        if [[ $word == = && ${COMP_WORDS[i - 1]} == --* ]]; then
            [[ $i -lt $COMP_CWORD ]] || line+=('')
        else
            line+=("$word")
        fi
    done
    current=${line[${#line[@]} - 1]}

    # Where the current word stands.
    for word in "${line[@]:0:${#line[@]} - 1}"; do
        if [[ -n $kind ]]; then
            kind=
        elif [[ -z $rest && $word == -- ]]; then
            rest=yes
        elif [[ -z $rest && $word == -* ]]; then
            @NAME@_value "$command" "$word"
        elif [[ -z $command ]]; then
            command=$word
        else
            ((++place))
        fi
    done

    if [[ -z $kind && -z $rest && $current == -* ]]; then
        @NAME@_options "$command"
        kind="words $words"
    elif [[ -z $kind && -z $command ]]; then
        kind=@COMMANDS@
    elif [[ -z $kind ]]; then
        @NAME@_argument "$command" "$place"
    fi

    read -r kind words <<<"$kind"
    case $kind in
        words) mapfile -t COMPREPLY < <(compgen -W "$words" -- "$current") ;;
        folders)
            compopt -o filenames 2>/dev/null
            mapfile -t COMPREPLY < <(compgen -d -- "$current")
            ;;
        programs)
            if [[ $current == */* ]]; then
                @NAME@_files '*'
            else
                mapfile -t COMPREPLY < <(compgen -c -- "$current" | sort -u)
            fi
            ;;
        files)
            @NAME@_files "${words%% *}"
            if [[ $words == *' '* ]]; then
                mapfile -t line < <(compgen -W "${words#* }" -- "$current")
                COMPREPLY+=("${line[@]}")
            fi
            ;;
    esac
}

complete -F @NAME@ @PROGRAM@
)";

void Replace(std::string& text, std::string_view mark, const std::string& value) {
    for (size_t at = 0; (at = text.find(mark, at)) != std::string::npos; at += value.size()) {
        text.replace(at, mark.size(), value);
    }
}

}  // namespace

std::string BashCompletion(const CLI::App& app) {
    Tables tables;
    tables.Add(app, "");
    std::vector<std::string> commands;
    for (const CLI::App* command : VisibleCommands(app)) {
        commands.push_back(command->get_name());
        tables.Add(*command, command->get_name());
    }
    std::string function = "_" + app.get_name();
    std::replace_if(
        function.begin(), function.end(), [](unsigned char c) { return std::isalnum(c) == 0; }, '_');

    std::string script(SCRIPT);
    Replace(script, "@NAME@", function);
    Replace(script, "@PROGRAM@", app.get_name());
    Replace(script, "@COMMANDS@", Quoted("words " + Joined(commands)));
    Replace(script, "@KINDS@", tables.kinds);
    Replace(script, "@PLACES@", tables.places);
    Replace(script, "@OPTIONS@", tables.options);
    return script;
}

}  // namespace ZYRA::Host
