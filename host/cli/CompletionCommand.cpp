#include "host/cli/CompletionCommand.h"

#include <CLI/Config.hpp>
#include <CLI/Formatter.hpp>

#include "host/cli/CompletionScripts.h"
#include "host/cli/DataArguments.h"
#include "host/cli/OptionValues.h"
#include "host/cli/StandardStreams.h"

namespace qvhost {

namespace {

constexpr const char* kCompletionDescription = "Print what completes this command in bash or zsh.";

constexpr const char* kCompletionFooter =
    R"help(The Debian package has installed it for both shells. Else write it, once for each version, to a folder
where the shell looks for it:

For bash, with the package bash-completion:
  mkdir -p ~/.local/share/bash-completion/completions
  qvreg completion bash > ~/.local/share/bash-completion/completions/qvreg

For bash without it, in ~/.bashrc:
  source <(qvreg completion bash)

For zsh, with fpath=(~/.zfunc $fpath) before compinit in ~/.zshrc:
  mkdir -p ~/.zfunc
  qvreg completion zsh > ~/.zfunc/_qvreg

Exit codes: 0 printed, 1 the run failed, 2 wrong usage; 141 when standard output is closed, as by head.)help";

}  // namespace

CompletionCommand::CompletionCommand(CLI::App& app)
    : app_(app),
      command_(app.add_subcommand("completion", kCompletionDescription)->group("Commands")) {
  command_->footer(kCompletionFooter);
  TakeOneOf(command_->add_option("SHELL", shells_, "bash or zsh")->type_name(""), {"bash", "zsh"});
}

ExitCode CompletionCommand::Run() {
  if (shells_.size() != 1) RefuseUsage("Name one shell: qvreg completion bash, or zsh.");
  const std::string script = shells_.front() == "bash" ? BashCompletion(app_) : ZshCompletion(app_);
  return WriteStandardOutput(script) ? ExitCode::kFitted : ExitCode::kPipeClosed;
}

}  // namespace qvhost
