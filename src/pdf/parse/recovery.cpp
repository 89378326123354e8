// Placeholder; filled in with the parser.
