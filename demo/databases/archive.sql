-- What a shop has put away. Run in an empty database, with @rows set.
CREATE TABLE old_orders (
  id INT NOT NULL PRIMARY KEY,
  customer VARCHAR(100) NOT NULL,
  letter LONGTEXT NULL
);
INSERT INTO old_orders
  SELECT seq, concat('Клієнт ', seq), if(seq MOD 10 = 0, NULL, repeat('Дякуємо 🙏\n', seq MOD 100))
  FROM seq_1_to_100000000 WHERE seq <= @rows;

CREATE VIEW longest_letters AS
  SELECT id, char_length(letter) AS length FROM old_orders ORDER BY length DESC, id LIMIT 5;
