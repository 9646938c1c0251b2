# Configuration sections (XML and INI backends).
