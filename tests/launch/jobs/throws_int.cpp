/// Throws what no handler for exceptions knows.
extern "C" int vormain(int, char**) {
  throw 7;
}
