// The program's information property list as a separate section. "a" loads it into the running
// program, where embeddedInfoPlist() finds it by the section's name.
__asm__(".pushsection info_plist, \"a\", @progbits\n"
        ".incbin \"" VELTRA_INFO_PLIST "\"\n"
        ".popsection\n");
