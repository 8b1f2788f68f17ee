// Keeping the command's stderr to its own lines while libraries run.
#pragma once

namespace zorvi::cli {

// Libraries say things on stderr of their own accord: libjxl its debug lines on a damaged file,
// fontconfig in a sandbox that it finds no cache. While one of these lives, stderr goes to a scratch
// file; when it ends, only the lines in it that begin as ours ("zorvi: ", such as the text module's
// warning) are passed on.
class KeepOwnLines {
 public:
  KeepOwnLines();
  ~KeepOwnLines();
  KeepOwnLines(const KeepOwnLines&) = delete;
  KeepOwnLines& operator=(const KeepOwnLines&) = delete;

 private:
  void restore();
  void passOnOwnLines() const;
  int saved_ = -1;
  int scratch_ = -1;
};

// Where a line of the command's own goes at once, also from a signal handler: the real stderr.
int ownLinesFd();

}  // namespace zorvi::cli
