-- A shop, as sites keep it in MariaDB. Run by the database user that is to be the definer of its
-- views and routines, in an empty database, with @rows set: the number of customers.
SET SESSION sql_mode = 'NO_AUTO_VALUE_ON_ZERO';
SET SESSION time_zone = '+00:00';

CREATE TABLE categories (
  id INT NOT NULL AUTO_INCREMENT PRIMARY KEY,
  name VARCHAR(50) NOT NULL
) AUTO_INCREMENT = 500;
INSERT INTO categories VALUES (0, 'none'), (1, 'Книги'), (2, '音楽'), (3, '🎁🇺🇦👩‍👩‍👧');

CREATE TABLE customers (
  id INT UNSIGNED NOT NULL AUTO_INCREMENT PRIMARY KEY,
  email VARCHAR(190) CHARACTER SET ascii NOT NULL UNIQUE,
  name VARCHAR(100) NOT NULL,
  note TEXT NULL COMMENT 'what the shop knows; it''s "free" text',
  born DATE NULL,
  first_seen DATETIME NOT NULL DEFAULT '2001-02-03 04:05:06',
  last_seen TIMESTAMP(6) NULL,
  break_time TIME NULL,
  since YEAR NULL,
  balance DECIMAL(14, 4) NOT NULL DEFAULT 0,
  rating DOUBLE NULL,
  flags BIT(10) NOT NULL DEFAULT b'0',
  level ENUM('new', 'known', 'très cher') NOT NULL DEFAULT 'new',
  wants SET('letters', 'calls', 'visits') NOT NULL DEFAULT '',
  extra JSON NULL,
  place POINT NULL,
  domain VARCHAR(190) AS (substring_index(email, '@', -1)) VIRTUAL,
  initial CHAR(1) AS (left(name, 1)) STORED,
  KEY by_level (level, since),
  KEY by_initial (initial),
  FULLTEXT KEY by_note (note)
);
INSERT INTO customers (email, name, note, born, last_seen, break_time, since, balance, rating,
                       flags, level, wants, extra, place)
  SELECT concat('customer', seq, '@', elt(seq MOD 3 + 1, 'site.example', 'mail.example', 'x.test')),
         concat(elt(seq MOD 4 + 1, 'Олена ', 'Zoë ', '小明 ', 'O''Neill "the 🐈" '), seq),
         if(seq MOD 5 = 0, NULL, repeat(concat(md5(seq), ' '), seq MOD 9)),
         if(seq MOD 7 = 0, NULL, '1950-01-01' + INTERVAL seq * 37 MOD 20000 DAY),
         if(seq MOD 6 = 0, NULL, '2019-03-31 00:59:59.999999' + INTERVAL seq * 1009 MINUTE),
         if(seq MOD 3 = 0, NULL, sec_to_time(seq * 61 MOD 86400)), 1990 + seq MOD 40,
         seq * 1.2345, if(seq MOD 4 = 0, NULL, seq / 7), seq MOD 1024, seq MOD 3 + 1, seq MOD 8,
         if(seq MOD 2, json_object('n', seq, 'text', concat('"', char(10), '\\')), NULL),
         if(seq MOD 2, point(seq, -seq / 3), NULL)
  FROM seq_1_to_100000000 WHERE seq <= @rows;
-- Old sites hold dates that a strict server would refuse.
INSERT INTO customers (email, name, note, born, first_seen) VALUES
  ('old@site.example', 'Before', '', '0000-00-00', '0000-00-00 00:00:00'),
  ('lines@site.example', '\\N', concat('CREATE DEFINER=`root`@`localhost` TRIGGER\n',
   '/*!50003 CREATE*/ /*!50017 DEFINER=`a`@`b`*/\n-- Dump completed\n\\! echo\n\tend\0\Z;\r\n'),
   '9999-12-31', '1000-01-01 00:00:00');

CREATE TABLE products (
  id BIGINT NOT NULL AUTO_INCREMENT PRIMARY KEY,
  category INT NOT NULL DEFAULT 0,
  title VARCHAR(200) COLLATE utf8mb4_unicode_ci NOT NULL,
  price DECIMAL(10, 2) NOT NULL,
  stock INT NOT NULL DEFAULT 0,
  picture MEDIUMBLOB NULL,
  code BINARY(16) NOT NULL,
  gross DECIMAL(12, 4) AS (price * 1.19) STORED,
  FOREIGN KEY (category) REFERENCES categories (id) ON UPDATE CASCADE
);
INSERT INTO products (category, title, price, stock, picture, code)
  SELECT seq MOD 4, concat('Товар №', seq, ' 🛒'), seq * 0.37, 1000,
         if(seq MOD 10 = 0, NULL, concat(unhex(md5(seq)), x'00', unhex(sha1(seq)))),
         unhex(md5(-seq))
  FROM seq_1_to_100000000 WHERE seq <= 11 + @rows DIV 10;

CREATE TABLE orders (
  id INT NOT NULL AUTO_INCREMENT PRIMARY KEY,
  customer INT UNSIGNED NOT NULL,
  placed DATETIME(3) NOT NULL,
  FOREIGN KEY (customer) REFERENCES customers (id) ON DELETE CASCADE
) AUTO_INCREMENT = 100000;
INSERT INTO orders (customer, placed)
  SELECT id, '2020-02-29 12:00:00.125' + INTERVAL id SECOND FROM customers;

CREATE TABLE order_items (
  order_id INT NOT NULL,
  product BIGINT NOT NULL,
  pieces INT NOT NULL CHECK (pieces > 0),
  PRIMARY KEY (order_id, product),
  FOREIGN KEY (order_id) REFERENCES orders (id),
  FOREIGN KEY (product) REFERENCES products (id)
);
INSERT INTO order_items
  SELECT id, id MOD 10 + 1, id MOD 3 + 1 FROM orders UNION ALL
  SELECT id, id MOD 10 + 2, 1 FROM orders WHERE id MOD 2;

-- Every byte there is, once in order and once by itself.
CREATE TABLE files (
  name VARBINARY(20) NOT NULL PRIMARY KEY,
  contents LONGBLOB NULL
) ENGINE = MyISAM;
SET SESSION group_concat_max_len = 1000000;
INSERT INTO files
  SELECT 'all', unhex(group_concat(lpad(hex(seq), 2, '0') ORDER BY seq SEPARATOR ''))
  FROM seq_0_to_255;
INSERT INTO files
  SELECT unhex(lpad(hex(seq), 2, '0')), unhex(lpad(hex(seq), 2, '0')) FROM seq_0_to_255;
INSERT INTO files VALUES
  ('empty', ''), ('missing', NULL), ('large', repeat(unhex(md5('x')), 100000));

CREATE TABLE legacy (
  `order` VARCHAR(50) CHARACTER SET cp1251 NOT NULL,
  `odd ``name''` VARCHAR(50) CHARACTER SET latin1 COLLATE latin1_german2_ci NULL
) ENGINE = Aria COMMENT = 'old; kept';
INSERT INTO legacy VALUES ('Привіт', 'Grüße'), ('обмін', NULL);

CREATE TABLE price_changes (
  product BIGINT NOT NULL,
  old_price DECIMAL(10, 2) NOT NULL,
  new_price DECIMAL(10, 2) NOT NULL
);

CREATE TABLE carts (
  id CHAR(36) CHARACTER SET ascii NOT NULL PRIMARY KEY,
  contents TEXT NOT NULL
);

CREATE SEQUENCE invoices START WITH 70000 INCREMENT BY 5 CACHE 10;
DO nextval(invoices);

CREATE VIEW order_totals AS
  SELECT o.id, o.customer, sum(i.pieces * p.price) AS total
  FROM orders o JOIN order_items i ON i.order_id = o.id JOIN products p ON p.id = i.product
  GROUP BY o.id, o.customer;
-- Sorts before the view that it reads.
CREATE VIEW best_customers AS
  SELECT c.name, sum(t.total) AS spent FROM order_totals t JOIN customers c ON c.id = t.customer
  GROUP BY c.id ORDER BY spent DESC, c.id LIMIT 20;
CREATE SQL SECURITY INVOKER VIEW `the ``cheap'' ones` AS
  SELECT id, title FROM products WHERE price < 5 WITH CASCADED CHECK OPTION;

DELIMITER //

CREATE TRIGGER price_history BEFORE UPDATE ON products FOR EACH ROW
BEGIN
  IF NEW.price <> OLD.price THEN
    INSERT INTO price_changes VALUES (OLD.id, OLD.price, NEW.price);
  END IF;
END//

CREATE TRIGGER take_from_stock AFTER INSERT ON order_items FOR EACH ROW
  UPDATE products SET stock = stock - NEW.pieces WHERE id = NEW.product//

CREATE FUNCTION customer_label(wanted INT UNSIGNED) RETURNS VARCHAR(200) READS SQL DATA
  RETURN (SELECT concat('№', id, ' ', name, ' <', email, '>') FROM customers WHERE id = wanted)//

-- A line of a text that looks like the beginning of a statement.
CREATE PROCEDURE restock(IN wanted BIGINT, IN pieces INT, OUT left_over INT, OUT remark TEXT)
  COMMENT 'it''s for the store'
BEGIN
  UPDATE products SET stock = stock + pieces WHERE id = wanted;
  SELECT stock INTO left_over FROM products WHERE id = wanted;
  SET remark = 'restocked; as in
CREATE DEFINER=`root`@`localhost` PROCEDURE `x`()
🚚';
END//

CREATE EVENT forget_carts ON SCHEDULE EVERY 1 DAY STARTS '2020-01-01 03:00:00' DISABLE
DO BEGIN
  DELETE FROM carts;
END//

DELIMITER ;
