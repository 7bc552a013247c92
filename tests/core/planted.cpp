// A library that nobody asked for.
extern "C" int planted()
{
    return 1;
}
