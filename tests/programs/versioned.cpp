// Ends at once. Tests read its version resource.
int main() {
  return 0;
}
