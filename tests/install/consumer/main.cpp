// Prints the number of items on the board named by the first argument.
#include <zorvi/board_archive.hpp>

#include <iostream>

int main(int argc, char** argv) {
  if (argc != 2) return 2;
  try {
    std::cout << zorvi::BoardArchive::read(argv[1]).manifest.items.size() << " items\n";
  } catch (const zorvi::BoardArchiveError& error) {
    std::cerr << error.caseName() << "\n";
    return 1;
  }
}
