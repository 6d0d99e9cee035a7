// A program for the sake of what is linked into it.
int main() {}
