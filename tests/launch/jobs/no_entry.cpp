/// An entry of another name.
extern "C" int vormane(int, char**) {
  return 0;
}
