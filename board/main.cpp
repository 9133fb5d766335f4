#include "board/Board.h"

int main(int argc, char** argv) {
  return Board::Main(argc, argv);
}
