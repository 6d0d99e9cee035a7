// A program that only serves to link libraries into it.
int main() {}
