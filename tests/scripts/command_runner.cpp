// Runs cases of the whole-script corpus through the qorvintr command and compares what it prints
// (the result line on standard output, the exit status, and on standard error the ReportError
// lines and the debug-log entries in the order they happen) with what the case says.
//
//   scripts_command_runner QORVINTR CORPUS_FOLDER [FAMILY:NAME ...]
//
// Without cases named it runs them all. Prints one line per case (ok / FAIL with the
// differences) and exits 1 when any case fails, 2 on a usage error.
#include <poll.h>
#include <signal.h>
#include <sys/types.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iostream>
#include <string>
#include <vector>

#include "case_file.h"

namespace {

using qorvintr::scripts::Case;
using qorvintr::scripts::Escape;
using qorvintr::scripts::Event;

struct Outcome {
  std::string out;
  std::string err;
  int status = -1;  // the exit status, or -1 when the program did not exit normally
  std::string failure;  // the run itself failed
};

// Runs the program with the arguments, no shell in between, and collects both outputs.
Outcome Run(const std::vector<std::string>& argv) {
  Outcome o;
  int out_pipe[2];
  int err_pipe[2];
  if (pipe(out_pipe) != 0 || pipe(err_pipe) != 0) {
    o.failure = std::string("pipe: ") + std::strerror(errno);
    return o;
  }
  pid_t pid = fork();
  if (pid < 0) {
    o.failure = std::string("fork: ") + std::strerror(errno);
    return o;
  }
  if (pid == 0) {
    dup2(out_pipe[1], 1);
    dup2(err_pipe[1], 2);
    close(out_pipe[0]);
    close(out_pipe[1]);
    close(err_pipe[0]);
    close(err_pipe[1]);
    std::vector<char*> args;
    for (const std::string& a : argv) args.push_back(const_cast<char*>(a.c_str()));
    args.push_back(nullptr);
    execv(args[0], args.data());
    _exit(127);
  }
  close(out_pipe[1]);
  close(err_pipe[1]);
  pollfd fds[2] = {{out_pipe[0], POLLIN, 0}, {err_pipe[0], POLLIN, 0}};
  std::string* sinks[2] = {&o.out, &o.err};
  int open_count = 2;
  char buffer[4096];
  while (open_count > 0) {
    // 60 seconds without output: the program hangs.
    int ready = poll(fds, 2, 60000);
    if (ready == 0) {
      kill(pid, SIGKILL);
      o.failure = "no output for 60 seconds: killed";
      break;
    }
    if (ready < 0) {
      if (errno == EINTR) continue;
      o.failure = std::string("poll: ") + std::strerror(errno);
      break;
    }
    for (int i = 0; i < 2; ++i) {
      if (fds[i].fd < 0 || (fds[i].revents & (POLLIN | POLLHUP | POLLERR)) == 0) continue;
      ssize_t n = read(fds[i].fd, buffer, sizeof buffer);
      if (n > 0) {
        sinks[i]->append(buffer, static_cast<std::size_t>(n));
      } else if (n == 0 || errno != EINTR) {
        close(fds[i].fd);
        fds[i].fd = -1;
        --open_count;
      }
    }
  }
  for (pollfd& f : fds) {
    if (f.fd >= 0) close(f.fd);
  }
  int wstatus = 0;
  while (waitpid(pid, &wstatus, 0) < 0 && errno == EINTR) {
  }
  if (WIFEXITED(wstatus)) o.status = WEXITSTATUS(wstatus);
  return o;
}

// The command writes backslash, tab, CR and LF inside each part of the result line as \\, \t,
// \r and \n, so that the line stays one line.
std::string OneLine(const std::string& part) {
  std::string out;
  for (char c : part) {
    switch (c) {
      case '\\': out += "\\\\"; break;
      case '\t': out += "\\t"; break;
      case '\r': out += "\\r"; break;
      case '\n': out += "\\n"; break;
      default: out += c;
    }
  }
  return out;
}

std::string ExpectedStdout(const Case& c) {
  if (c.result == "Nothing") return "Nothing\n";
  std::string line;
  std::size_t start = 0;
  for (int part = 0; part < 3; ++part) {
    std::size_t tab = part < 2 ? c.result.find('\t', start) : std::string::npos;
    if (part) line += '\t';
    line += OneLine(c.result.substr(start, tab == std::string::npos ? std::string::npos : tab - start));
    if (tab == std::string::npos) break;
    start = tab + 1;
  }
  return line + "\n";
}

int ExpectedStatus(const Case& c) {
  if (c.result == "Nothing") return 3;
  if (c.result.rfind("Error\tBoolean\t", 0) == 0) return 1;
  return 0;
}

// Standard error: each ReportError call as "ReportError: " and its arguments, each log entry as
// the log object received it; every one followed by a line feed, in the order they happened.
std::string ExpectedStderr(const Case& c, const std::string& release) {
  std::string err;
  if (c.logging) err += qorvintr::scripts::BannerEntry(release) + "\n";
  for (const Event& e : c.events) {
    if (e.kind == Event::kError) err += "ReportError: ";
    err += e.text;
    err += "\n";
  }
  return err;
}

// The first place where two texts differ, both shown from a little before it.
std::string Difference(const std::string& expected, const std::string& actual) {
  std::size_t i = 0;
  while (i < expected.size() && i < actual.size() && expected[i] == actual[i]) ++i;
  std::size_t from = i > 40 ? i - 40 : 0;
  return "    first difference at byte " + std::to_string(i) + "\n    expected: ..." +
         Escape(expected.substr(from, 160)) + "\n    actual:   ..." + Escape(actual.substr(from, 160)) +
         "\n";
}

}  // namespace

int main(int argc, char** argv) {
  if (argc < 3) {
    std::cerr << "usage: scripts_command_runner QORVINTR CORPUS_FOLDER [FAMILY:NAME ...]\n";
    return 2;
  }
  const std::string program = std::filesystem::absolute(argv[1]).string();
  const std::filesystem::path corpus = argv[2];
  std::vector<std::string> wanted(argv + 3, argv + argc);

  // The release text the banner carries, as the command reports it.
  std::string release;
  {
    Outcome v = Run({program, "--version"});
    std::size_t at = v.out.find("interpreter release ");
    if (at != std::string::npos) {
      release = v.out.substr(at + 20);
      release = release.substr(0, release.find(')'));
    }
    if (release.empty()) {
      std::cerr << "cannot read the release from '" << program << " --version': " << Escape(v.out)
                << Escape(v.err) << "\n";
      return 2;
    }
  }

  std::vector<Case> cases = qorvintr::scripts::ReadCorpus(corpus);
  const std::filesystem::path work =
      std::filesystem::temp_directory_path() / ("qorvintr-scripts-" + std::to_string(getpid()));
  std::filesystem::create_directories(work);

  int run = 0;
  int failed = 0;
  std::vector<bool> found(wanted.size(), false);
  for (const Case& c : cases) {
    const std::string id = c.family + ":" + c.name;
    if (!wanted.empty()) {
      bool take = false;
      for (std::size_t i = 0; i < wanted.size(); ++i) {
        if (wanted[i] == id) take = found[i] = true;
      }
      if (!take) continue;
    }
    ++run;
    if (!c.parse_error.empty()) {
      ++failed;
      std::cout << "FAIL " << id << "\n    " << c.parse_error << "\n";
      continue;
    }
    const std::filesystem::path fields_file = work / "fields.txt";
    const std::filesystem::path ini_file = work / "host.ini";
    {
      std::ofstream f(fields_file, std::ios::binary);
      f << "# fields of " << id << "\n";
      for (const std::string& line : c.field_lines) f << line << "\n";
      std::ofstream i(ini_file, std::ios::binary);
      i << qorvintr::scripts::IniText(c);
    }
    Outcome o = Run({program, "eval", "--fields", fields_file.string(), "--errors", "--log-stderr",
                     "--ini", ini_file.string(), "--now", qorvintr::scripts::kNowText, "--system",
                     qorvintr::scripts::kSystem, "--application", qorvintr::scripts::kApplication,
                     "--", c.script});
    std::string report;
    if (!o.failure.empty()) report += "    " + o.failure + "\n";
    const std::string out = ExpectedStdout(c);
    if (o.out != out) report += "  standard output\n" + Difference(out, o.out);
    const int status = ExpectedStatus(c);
    if (o.status != status) {
      report += "  exit status: expected " + std::to_string(status) + ", actual " +
                std::to_string(o.status) + "\n";
    }
    const std::string err = ExpectedStderr(c, release);
    if (o.err != err) report += "  standard error\n" + Difference(err, o.err);
    if (report.empty()) {
      std::cout << "ok   " << id << "\n";
    } else {
      ++failed;
      std::cout << "FAIL " << id << " (" << c.file << ":" << c.line << ")\n" << report;
    }
  }
  std::error_code ec;
  std::filesystem::remove_all(work, ec);
  for (std::size_t i = 0; i < wanted.size(); ++i) {
    if (!found[i]) {
      ++failed;
      std::cout << "FAIL " << wanted[i] << ": no such case\n";
    }
  }
  std::cout << run << " cases, " << (run - failed) << " passed, " << failed << " failed\n";
  return failed == 0 ? 0 : 1;
}
