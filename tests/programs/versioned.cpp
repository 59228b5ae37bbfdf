// Ends at once; tests read its version resource.
int main() {
  return 0;
}
