-- A wiki whose tables differ in case only. Run in an empty database.
CREATE TABLE Pages (
  Title VARCHAR(100) NOT NULL PRIMARY KEY,
  Body MEDIUMTEXT NOT NULL
);
INSERT INTO Pages VALUES ('Main', 'Welcome'), ('Київ', '🏙');

CREATE TABLE pages (
  number INT NOT NULL AUTO_INCREMENT PRIMARY KEY,
  title VARCHAR(100) NOT NULL
);
INSERT INTO pages (title) VALUES ('another table');
