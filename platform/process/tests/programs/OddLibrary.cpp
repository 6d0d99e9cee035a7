// A library that is loaded into programs that did not ask for it.

extern "C" int veltraOddLibrary()
{
    return 1;
}
