// The process entry.

int main() { return 0; }
