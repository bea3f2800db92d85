// The program whose precompiled headers all tests share; nobody runs it.
int main() {
    return 0;
}
