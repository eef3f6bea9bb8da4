// What is left of a program's cost when it does nothing.

int main(void)
{
    return 0;
}
