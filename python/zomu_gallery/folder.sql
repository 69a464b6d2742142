-- The templates of a gallery in one file.
CREATE TABLE IF NOT EXISTS template (
    id INTEGER PRIMARY KEY AUTOINCREMENT,
    person TEXT NOT NULL,
    photograph BLOB NOT NULL CHECK (length(photograph) = 32),
    face INTEGER NOT NULL CHECK (face >= 1),
    consent TEXT NOT NULL,
    expires REAL, -- seconds since 1970, UTC
    template BLOB NOT NULL CHECK (length(template) = 2008),
    UNIQUE (photograph, face)
);
CREATE INDEX IF NOT EXISTS template_person ON template (person);

-- What an index has to follow.
CREATE TABLE IF NOT EXISTS change (
    number INTEGER PRIMARY KEY AUTOINCREMENT,
    id INTEGER NOT NULL,
    is_deletion INTEGER NOT NULL
);
CREATE TRIGGER IF NOT EXISTS template_added AFTER INSERT ON template
BEGIN
    INSERT INTO change (id, is_deletion) VALUES (new.id, 0);
END;
CREATE TRIGGER IF NOT EXISTS template_deleted AFTER DELETE ON template
BEGIN
    INSERT INTO change (id, is_deletion) VALUES (old.id, 1);
END;
