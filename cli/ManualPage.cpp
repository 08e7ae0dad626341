#include "cli/ManualPage.h"

#include <fmt/format.h>

#include <sstream>

namespace orv::cli {

namespace {

// "--interval", "-h,--help": the names of an option as a user types them.
std::string optionNames(const CLI::Option* option) {
    std::string names;
    for (const auto& s : option->get_snames()) names += (names.empty() ? "-" : ", -") + s;
    for (const auto& l : option->get_lnames()) names += (names.empty() ? "--" : ", --") + l;
    // CLI11's type name carries the check after a colon ("FLOAT:SECONDS in
    // [0.05 - 3600]"); the help text says the range in words.
    if (option->get_type_size() != 0 && !option->get_type_name().empty()) {
        std::string type = option->get_type_name();
        names += " " + type.substr(0, type.find(':'));
    }
    return names;
}

bool shown(const CLI::Option* option) { return !option->get_group().empty(); }

}  // namespace

std::string ManualPage::escape(const std::string& text) {
    std::string out;
    out.reserve(text.size());
    for (char c : text) {
        if (c == '\\') out += "\\\\";
        else if (c == '-') out += "\\-";
        else out += c;
    }
    if (!out.empty() && (out[0] == '.' || out[0] == '\'')) out.insert(0, "\\&");
    return out;
}

std::string ManualPage::roff(const CLI::App& app, const std::string& version) {
    std::ostringstream page;
    page << ".TH ORVANTINE 1 \"\" \"orvantine " << escape(version) << "\" \"User Commands\"\n";
    std::string summary = app.get_description();
    if (summary.rfind("orvantine: ", 0) == 0) summary.erase(0, std::string("orvantine: ").size());
    page << ".SH NAME\norvantine \\- " << escape(summary) << "\n";
    page << ".SH SYNOPSIS\n.B orvantine\n.I command\n[\\fIoptions\\fR]\n.br\n.B orvantine\n\\-\\-help | \\-\\-version\n";
    page << ".SH DESCRIPTION\n"
            "Orvantine measures what a system monitor shows: per-process CPU, memory, disk and network, "
            "per-core CPU, memory pressure, disk and network throughput, volumes, battery, GPU, thermal state "
            "and sensors; it groups processes into apps, tells which one strains the machine, keeps a history "
            "and raises alerts. Every command that prints figures can print them as JSON.\n"
            ".PP\nWithout the privileged helper, the processes of other users show what the kernel lets "
            "any user read; with \\fBorvantine-helper.socket\\fR running, every process is read in full.\n";
    page << ".SH COMMANDS\n";
    for (const CLI::App* command : app.get_subcommands({})) {
        page << ".SS " << escape(command->get_name()) << "\n" << escape(command->get_description()) << "\n";
        for (const CLI::Option* option : command->get_options()) {
            if (!shown(option) || option->get_lnames() == std::vector<std::string>{"help"}) continue;
            page << ".TP\n.B " << escape(optionNames(option)) << "\n" << escape(option->get_description());
            if (!option->get_default_str().empty()) page << " (default: " << escape(option->get_default_str()) << ")";
            page << "\n";
        }
    }
    page << ".SH OPTIONS\n.TP\n.B \\-h, \\-\\-help\nPrint the help of orvantine, or of the command it follows, and exit.\n"
            ".TP\n.B \\-\\-version\nPrint the version and exit.\n";
    page << ".SH FILES\n"
            ".TP\n.I /run/orvantine/helper.sock\nThe privileged helper's socket (systemd unit orvantine-helper.socket).\n"
            ".TP\n.I $XDG_STATE_HOME/orvantine/history.sqlite\nThe history that \\fBrecord\\fR keeps and "
            "\\fBhistory\\fR reads (default \\fI~/.local/state/orvantine/history.sqlite\\fR).\n"
            ".TP\n.I $XDG_CONFIG_HOME/orvantine/alerts.json\nThe alert rules \\fBrecord\\fR watches "
            "(default \\fI~/.config/orvantine/alerts.json\\fR), written with the defaults when missing.\n"
            ".TP\n.I $XDG_STATE_HOME/orvantine/alert-state.json\nWhen each alert last fired.\n";
    page << ".SH ENVIRONMENT\n"
            ".TP\n.B XDG_STATE_HOME, XDG_CONFIG_HOME\nWhere the files above live.\n"
            ".TP\n.B LC_ALL, LC_NUMERIC, LANG\nHow numbers are written in text output (never in JSON).\n"
            ".TP\n.B NO_COLOR\nWhen set, \\fBtop\\fR draws without colour.\n"
            ".TP\n.B DOCKER_HOST, XDG_RUNTIME_DIR\nWhere \\fBdevservers\\fR looks for a container engine.\n";
    page << ".SH EXIT STATUS\n"
            ".TP\n.B 0\nSuccess.\n"
            ".TP\n.B 1\nThe command failed (a figure could not be read, a process could not be stopped).\n"
            ".TP\n.B 2\nThe command line was wrong: an unknown command or option, a missing or out-of-range value.\n";
    page << ".SH SEE ALSO\n.BR top (1), .BR ps (1), .BR free (1), .BR systemctl (1)\n";
    return page.str();
}

std::string ManualPage::bashCompletion(const CLI::App& app) {
    std::string commands;
    std::string cases;
    for (const CLI::App* command : app.get_subcommands({})) {
        commands += (commands.empty() ? "" : " ") + command->get_name();
        std::string options;
        for (const CLI::Option* option : command->get_options()) {
            if (!shown(option)) continue;
            for (const auto& l : option->get_lnames()) options += (options.empty() ? "--" : " --") + l;
        }
        cases += fmt::format("        {}) words='{}' ;;\n", command->get_name(), options);
    }
    return fmt::format(
        "# bash completion for orvantine, written by orvantine --bash-completion\n"
        "_orvantine() {{\n"
        "    local current=${{COMP_WORDS[COMP_CWORD]}} command= words=\n"
        "    local i\n"
        "    for ((i = 1; i < COMP_CWORD; i++)); do\n"
        "        case ${{COMP_WORDS[i]}} in -*) ;; *) command=${{COMP_WORDS[i]}}; break ;; esac\n"
        "    done\n"
        "    case $command in\n"
        "        '') words='{} --help --version' ;;\n"
        "{}"
        "    esac\n"
        "    COMPREPLY=($(compgen -W \"$words\" -- \"$current\"))\n"
        "}}\n"
        "complete -F _orvantine orvantine\n",
        commands, cases);
}

}  // namespace orv::cli
