// temporary
