// The program's information property list as a section of its own. "a" keeps it readable in the
// running program, whose embeddedInfoPlist() finds it by the section's name.
__asm__(".pushsection info_plist, \"a\", @progbits\n"
        ".incbin \"" VELTRA_INFO_PLIST "\"\n"
        ".popsection\n");
